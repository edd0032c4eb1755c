#pragma once

#include <cstdint>

/** How a stored picture is turned to stand upright: swap sides first, then mirror. */
struct Orientation
{
    /** Rows become columns. */
    bool swapSides = false;
    bool mirrorHorizontally = false;
    bool mirrorVertically = false;

    bool isUpright() const { return !swapSides && !mirrorHorizontally && !mirrorVertically; }

    bool operator==(const Orientation &) const = default;
};

/**
 * Reads a display matrix: nine numbers in row order, as MP4's track header and FFmpeg's side data
 * hold them. Angles between the quarter turns are taken for the nearest one. Null is upright.
 */
Orientation orientationFromMatrix(const std::int32_t *matrix);

/**
 * Turns one plane of 8-bit samples.
 *
 * @param width,height size of the source; the target is `height` wide when sides are swapped
 * @param sourceStride,targetStride distance of rows in bytes
 */
void turnPlane(const Orientation &orientation, const std::uint8_t *source, int sourceStride,
               int width, int height, std::uint8_t *target, int targetStride);
