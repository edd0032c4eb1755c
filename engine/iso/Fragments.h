#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Adds the packets that fragment headers tell of to the recording's tracks. A track that lost
 * fragments goes on at the time which the next one states; where none is stated, at once.
 */
void readFragments(const SourceFile &source, const std::vector<Box> &fragments,
                   IsoRecording &recording);

/** The same, of a recording whose index and tracks were read from another file of its kind. */
void readFragments(const SourceFile &source, const std::vector<Box> &fragments,
                   const SourceFile &description, IsoRecording &recording);
