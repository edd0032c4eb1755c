#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Whether packets stand where the index says, and if not, by how many bytes all are away from
 * there: found by what the media itself looks like. 0 when they do, or when nothing can be told.
 */
std::int64_t findOffsetShift(const SourceFile &source, const IsoStructure &structure,
                             const IsoRecording &recording);
