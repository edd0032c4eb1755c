#include "engine/media/ClockMender.h"

#include <algorithm>

namespace {

// Times of containers are far shorter; sums of these are numbers still.
constexpr std::int64_t longest = std::int64_t{1} << 60;

std::int64_t distance(std::int64_t a, std::int64_t b)
{
    return std::max(a, b) - std::min(a, b);
}

} // namespace

std::int64_t ClockMender::offsetFor(std::size_t stream, std::int64_t decode, std::int64_t duration)
{
    decode = std::clamp(decode, -longest, longest);
    duration = std::clamp<std::int64_t>(duration, 0, largestStep);
    if (stream >= streams.size())
        streams.resize(stream + 1, {.offset = newest});
    Stream &own = streams[stream];
    if (now) {
        // One stream jumps before the other: until then it goes by the clock as it was.
        if (distance(decode + newest, *now) < distance(decode + own.offset, *now))
            own.offset = newest;
        const std::int64_t time = decode + own.offset;
        const bool isNearOwn = own.due && distance(time, *own.due) <= largestStep;
        if (!isNearOwn && distance(time, *now) > largestStep) {
            const bool goesOn = own.due && distance(*own.due, *now) <= largestStep;
            newest = own.offset = (goesOn ? *own.due : *now) - decode;
        }
    }
    now = decode + own.offset;
    own.due = *now + duration;
    return own.offset;
}
