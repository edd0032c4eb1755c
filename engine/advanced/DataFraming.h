#pragma once

#include "engine/recording/Bytes.h"

#include <cstdint>
#include <optional>
#include <vector>

/**
 * How the packets of a data track can be told from what stands beside them: by what they all begin
 * with, and by how they say their size. Learned from a sample; no kind of data is known by name.
 */
class DataFraming
{
public:
    /** Bytes of a packet's beginning that are looked at. */
    static constexpr std::size_t startSize = 16;

    /** Takes in the beginning of a packet, and its size. */
    void learn(ByteView start, std::uint32_t size);
    /** To be called once, when all are taken in. */
    void settle();

    /** Packets can be found wherever they stand. */
    bool isDistinct() const { return prefix.size() >= leastPrefix && (fixedSize > 0 || field); }

    /** The size of the packet that begins with these bytes; 0 when none does. */
    std::uint32_t sizeAt(ByteView start) const;

    /** Nothing contradicts a packet of this size. */
    bool mayHaveSize(std::uint64_t size) const
    {
        return fixedSize > 0 ? size == fixedSize : size > 0 && size <= 2 * std::uint64_t{largest};
    }

    /** Size of all packets; 0 when they differ. */
    std::uint32_t fixed() const { return fixedSize; }

private:
    /** Where a packet says its size, and what is to be added to it. */
    struct Field
    {
        std::size_t place = 0;
        unsigned width = 0;
        bool isLittle = false;
        std::int64_t more = 0;
    };

    static constexpr std::size_t leastPrefix = 3;

    static std::int64_t valueOf(const Field &field, ByteView start);
    void findField();

    struct Example
    {
        Bytes start;
        std::uint32_t size = 0;
    };
    std::vector<Example> examples;
    Bytes prefix;
    std::uint32_t fixedSize = 0;
    std::uint32_t largest = 0;
    std::optional<Field> field;
};
