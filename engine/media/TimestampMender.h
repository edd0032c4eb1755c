#pragma once

#include <cstdint>
#include <optional>

/**
 * Makes the time stamps of one stream fit to be written: every packet gets a decode time, decode
 * times grow from packet to packet, and no picture is shown before it is decoded. Sound stamps
 * pass unchanged.
 */
class TimestampMender
{
public:
    /** In units of the stream's time base; an unset stamp is unknown. */
    struct Stamps
    {
        std::optional<std::int64_t> presentation;
        std::optional<std::int64_t> decode;

        bool operator==(const Stamps &) const = default;
    };

    /** @param duration of the packet, 0 when unknown */
    Stamps mend(Stamps stamps, std::int64_t duration);

private:
    std::optional<std::int64_t> lastDecode;
    std::int64_t lastDuration = 0;
};
