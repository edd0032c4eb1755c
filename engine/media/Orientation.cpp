#include "engine/media/Orientation.h"

#include <cstddef>
#include <cstdlib>

Orientation orientationFromMatrix(const std::int32_t *matrix)
{
    if (matrix == nullptr)
        return {};
    // A stored point (x, y) is shown at (a x + c y, b x + d y), with y growing downwards.
    const std::int64_t a = matrix[0];
    const std::int64_t b = matrix[1];
    const std::int64_t c = matrix[3];
    const std::int64_t d = matrix[4];
    Orientation orientation;
    orientation.swapSides = std::llabs(a) < std::llabs(b);
    orientation.mirrorHorizontally = orientation.swapSides ? c < 0 : a < 0;
    orientation.mirrorVertically = orientation.swapSides ? b < 0 : d < 0;
    return orientation;
}

void turnPlane(const Orientation &orientation, const std::uint8_t *source, int sourceStride,
               int width, int height, std::uint8_t *target, int targetStride)
{
    const int targetWidth = orientation.swapSides ? height : width;
    const int targetHeight = orientation.swapSides ? width : height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int column = orientation.swapSides ? y : x;
            int row = orientation.swapSides ? x : y;
            if (orientation.mirrorHorizontally)
                column = targetWidth - 1 - column;
            if (orientation.mirrorVertically)
                row = targetHeight - 1 - row;
            target[static_cast<std::ptrdiff_t>(row) * targetStride + column] =
                source[static_cast<std::ptrdiff_t>(y) * sourceStride + x];
        }
    }
}
