#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Makes a sound index ("moov") of a recording, after its own: all that the damaged file's index
 * still says of the movie and its tracks is kept as it is, except where packets stand and how long
 * things last. Lost packets leave their time empty, so that what comes later stays in its place; a
 * recording that begins later than at zero is moved there as a whole.
 *
 * Places in the packets must be those in the file that the index is for.
 */
Bytes makeIndex(const SourceFile &source, const IsoRecording &recording);

/**
 * Appends the beginning of a header box's body: version, flags, times of creation and change, which
 * are unknown, a field, and a duration. The version is the one that the duration needs.
 */
void appendHeaderTimes(Bytes &target, std::uint32_t flags, std::uint64_t field, unsigned fieldSize,
                       std::int64_t duration);

/** A box with all that it holds. */
Bytes makeBox(FourCc type, ByteView body);
