#include "engine/media/ClockMender.h"

#include <cstdlib>

std::int64_t ClockMender::offsetFor(std::size_t stream, std::int64_t decode, std::int64_t duration)
{
    if (stream >= expected.size())
        expected.resize(stream + 1);
    if (const auto &due = expected[stream]; due && std::llabs(decode + offset - *due) > largestStep)
        offset = *due - decode;
    expected[stream] = decode + offset + duration;
    return offset;
}
