#pragma once

#include "engine/recording/Bytes.h"

#include <memory>

/** A hash of bytes that come piece by piece; how they are cut makes no difference. */
class ByteHash
{
public:
    ByteHash();
    ~ByteHash();
    ByteHash(ByteHash &&) noexcept;
    ByteHash &operator=(ByteHash &&) noexcept;
    ByteHash(const ByteHash &) = delete;
    ByteHash &operator=(const ByteHash &) = delete;

    void add(ByteView bytes);
    std::uint64_t value() const;

private:
    struct State;

    std::unique_ptr<State> state;
};

/** The same of bytes that are all there. */
std::uint64_t hashOf(ByteView bytes);

/** A hash of numbers in their order. Short, for there are millions to take. */
class NumberHash
{
public:
    void add(std::uint64_t number)
    {
        hash = (hash ^ number) * factor + step;
        hash ^= hash >> 32U;
    }
    std::uint64_t value() const { return hash; }

private:
    // Odd, so that nothing of the number is lost; with the step, zeros leave a trace too.
    static constexpr std::uint64_t factor = 0xff51afd7ed558ccdULL;
    static constexpr std::uint64_t step = 0x9e3779b97f4a7c15ULL;

    std::uint64_t hash = 0;
};
