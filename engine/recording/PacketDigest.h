#pragma once

#include "engine/recording/Bytes.h"

#include <memory>

/**
 * What one track's packets look like: equal for two files exactly when they hold the same bytes,
 * in the same order, with the same sizes and times, as far as a hash can tell.
 */
class PacketDigest
{
public:
    PacketDigest();
    ~PacketDigest();
    PacketDigest(PacketDigest &&) noexcept;
    PacketDigest &operator=(PacketDigest &&) noexcept;
    PacketDigest(const PacketDigest &) = delete;
    PacketDigest &operator=(const PacketDigest &) = delete;

    void addBytes(ByteView bytes);
    /** @param time when the packet is shown, in units of both files; counted from the first's */
    void addPacket(std::int64_t time, std::uint64_t size);

    std::uint64_t packets() const { return packetCount; }
    std::uint64_t bytes() const { return byteCount; }
    std::uint64_t timesHash() const { return times; }
    std::uint64_t bytesHash() const;

private:
    struct State;

    std::unique_ptr<State> state;
    std::uint64_t packetCount = 0;
    std::uint64_t byteCount = 0;
    std::int64_t firstTime = 0;
    std::uint64_t times = 0;
};
