#pragma once

#include "engine/matroska/MatroskaRecording.h"

/**
 * Reads a description of a track. None when it is not whole, or does not say which track it
 * describes.
 *
 * @param timestampScale nanoseconds
 */
std::optional<MatroskaTrack> readTrackEntry(const SourceFile &source, const Element &entry,
                                            std::uint64_t timestampScale);

/** All of a Tracks element that can be read. */
std::vector<MatroskaTrack> readTracks(const SourceFile &source, const Element &tracks,
                                      std::uint64_t timestampScale);

/**
 * Sets what the track's packets look like, by the name of its codec.
 *
 * @param nalLengthSize bytes before each unit of H.264 and HEVC; 0 when nothing says it
 */
void setContent(MatroskaTrack &track, unsigned nalLengthSize);

/** Units of a track's time in a second. */
std::int64_t timescaleOf(std::uint64_t timestampScale);
