#pragma once

#include "engine/advanced/ParameterSets.h"

#include <cstdint>

/** Continues the order counts of which slice headers say only the lowest bits. */
class PictureOrder
{
public:
    /** Pictures are missing before the next one: how far it has come is not known. */
    void restart() { isRestarted = true; }

    /** The order count of the picture that comes next in the file. */
    std::int32_t next(const SliceHeader &slice)
    {
        if (slice.beginsSequence)
            reference = 0;
        if (slice.orderWidth == 0)
            return 0;
        const std::int32_t range = 1 << slice.orderWidth;
        // Those that follow are near to it, whatever it is counted from.
        if (isRestarted)
            reference = (reference & -range) + static_cast<std::int32_t>(slice.orderBits);
        isRestarted = false;
        const std::int32_t low = reference & (range - 1);
        const auto bits = static_cast<std::int32_t>(slice.orderBits);
        std::int32_t high = reference - low;
        if (bits < low && low - bits >= range / 2)
            high += range;
        else if (bits > low && bits - low > range / 2)
            high -= range;
        const std::int32_t order = high + bits;
        if (slice.carriesOrder)
            reference = order;
        return order;
    }

private:
    std::int32_t reference = 0;
    bool isRestarted = false;
};
