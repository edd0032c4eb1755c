#include "engine/media/TimestampMender.h"

#include <algorithm>

std::int64_t TimestampMender::firstDecode(const Stamps &stamps) const
{
    // Readers that know only when pictures are shown cannot tell when the first are decoded: as
    // many packets earlier as the stream reorders.
    return stamps.presentation.value_or(0) - stream.reorderDelay * stream.packetDuration;
}

TimestampMender::Stamps TimestampMender::mend(Stamps stamps, std::int64_t duration)
{
    // What a damaged file calls a time may be any number, and others are counted from it.
    constexpr std::int64_t latest = std::int64_t{1} << 60;
    for (const auto time : {&Stamps::presentation, &Stamps::decode}) {
        if (auto &stamp = stamps.*time)
            stamp = std::clamp(*stamp, -latest, latest);
    }
    duration = std::clamp<std::int64_t>(duration, 0, latest);
    if (!stamps.decode)
        stamps.decode = lastDecode ? *lastDecode + std::max<std::int64_t>(lastDuration, 1)
                                   : firstDecode(stamps);
    if (lastDecode && *stamps.decode < *lastDecode + (stream.mayRepeat ? 0 : 1))
        stamps.decode = *lastDecode + (stream.mayRepeat ? 0 : 1);
    if (stamps.presentation && *stamps.presentation < *stamps.decode)
        stamps.presentation = stamps.decode;
    lastDecode = stamps.decode;
    lastDuration = duration > 0 ? duration : stream.packetDuration;
    return stamps;
}
