#pragma once

#include <cstdint>
#include <optional>
#include <vector>

/**
 * Carries time on where a recording's clock was set anew: in containers whose clock may do that,
 * a jump of one stream shifts all that comes after it, in every stream, so that picture and sound
 * stay together. A stream that was silent for long, such as subtitles, has not jumped: its packets
 * are where the others are. Times are in microseconds.
 */
class ClockMender
{
public:
    /** Steps larger than this, in either direction, are jumps of the clock. */
    static constexpr std::int64_t largestStep = 10'000'000;

    /**
     * Returns what is to be added to the times of a packet.
     *
     * @param stream index of the packet's stream
     * @param decode its decode time as the container states it
     * @param duration its duration, 0 when unknown
     */
    std::int64_t offsetFor(std::size_t stream, std::int64_t decode, std::int64_t duration);

private:
    struct Stream
    {
        /** Holds until the stream itself has come to the clock's next jump. */
        std::int64_t offset = 0;
        /** When its next packet is to be expected, offset included. */
        std::optional<std::int64_t> due = {};
    };

    /** Since the clock's last jump. */
    std::int64_t newest = 0;
    /** Of the last packet of any stream, offset included. */
    std::optional<std::int64_t> now;
    std::vector<Stream> streams;
};
