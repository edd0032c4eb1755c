#include "engine/media/TimestampMender.h"

#include <algorithm>

TimestampMender::Stamps TimestampMender::mend(Stamps stamps, std::int64_t duration)
{
    if (!stamps.decode) {
        stamps.decode = lastDecode ? *lastDecode + std::max<std::int64_t>(lastDuration, 1)
                                   : stamps.presentation.value_or(0);
    }
    if (lastDecode && *stamps.decode <= *lastDecode)
        stamps.decode = *lastDecode + 1;
    if (stamps.presentation && *stamps.presentation < *stamps.decode)
        stamps.presentation = stamps.decode;
    lastDecode = stamps.decode;
    lastDuration = duration;
    return stamps;
}
