#pragma once

#include "engine/recording/Bytes.h"

#include <cstddef>
#include <vector>

/** Where the frames of a block, with what says how they are laced, begin and end in its element. */
struct FrameSpan
{
    std::size_t from = 0;
    /** 0 where the element is not sound. */
    std::size_t to = 0;
    /** How several frames lie in the block; 0 for a single one. */
    unsigned lacing = 0;
};

/** @param element a SimpleBlock or BlockGroup, whole */
FrameSpan framesOf(ByteView element);

/** The single frames of such an element; empty where it is not sound. */
std::vector<ByteView> singleFrames(ByteView element);
