#pragma once

#include "engine/iso/IsoRecording.h"

#include <optional>

/**
 * The video track whose beginning was overwritten together with the file's: told by its tables,
 * which stand behind one another, and its codec's parameters before them. What is lost of it is
 * derived from these and from its first key picture. None when there is no such track between the
 * two places.
 *
 * @param seconds how long the recording is by its other tracks; 0 when there is none
 */
std::optional<IsoTrack> readOrphanedTrack(const SourceFile &source, std::uint64_t from,
                                          std::uint64_t to, double seconds);

/** What `readOrphanedTrack` made anew, with what has become of its packets, as a "trak" box. */
void appendMadeTrack(Bytes &target, const IsoTrack &track, std::int64_t movieDuration,
                     std::int64_t mediaDuration);
