#pragma once

#include "engine/recording/ByteHash.h"

/**
 * What one track's packets look like: equal for two files exactly when they hold the same bytes,
 * in the same order, with the same sizes and times, as far as a hash can tell.
 */
class PacketDigest
{
public:
    void addBytes(ByteView bytes)
    {
        content.add(bytes);
        byteCount += bytes.size();
    }

    /** @param time when the packet is shown, in units of both files; counted from the first's */
    void addPacket(std::int64_t time, std::uint64_t size);

    std::uint64_t packets() const { return packetCount; }
    std::uint64_t bytes() const { return byteCount; }
    std::uint64_t timesHash() const { return times.value(); }
    std::uint64_t bytesHash() const { return content.value(); }

private:
    ByteHash content;
    NumberHash times;
    std::uint64_t packetCount = 0;
    std::uint64_t byteCount = 0;
    std::int64_t firstTime = 0;
};
