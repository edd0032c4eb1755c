#pragma once

#include <cstdint>
#include <optional>

/**
 * Makes the time stamps of one stream fit to be written: every packet gets a decode time, decode
 * times grow from packet to packet, and no picture is shown before it is decoded. Good stamps pass
 * unchanged. All times are in units of one time base.
 */
class TimestampMender
{
public:
    /** An unset stamp is unknown. */
    struct Stamps
    {
        std::optional<std::int64_t> presentation;
        std::optional<std::int64_t> decode;

        bool operator==(const Stamps &) const = default;
    };

    struct Stream
    {
        /** How many packets a picture may be decoded before it is shown. */
        int reorderDelay = 0;
        /** Usual distance of packets, 0 when unknown. */
        std::int64_t packetDuration = 0;
        /** Several packets may share a decode time: subtitles, data. */
        bool mayRepeat = false;
    };

    TimestampMender() = default;
    explicit TimestampMender(const Stream &ofStream) : stream(ofStream) {}

    /** @param duration of the packet, 0 when unknown */
    Stamps mend(Stamps stamps, std::int64_t duration);

private:
    std::int64_t firstDecode(const Stamps &stamps) const;

    Stream stream;
    std::optional<std::int64_t> lastDecode;
    std::int64_t lastDuration = 0;
};
