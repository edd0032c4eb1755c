#pragma once

#include "engine/matroska/MatroskaRecording.h"

/**
 * Describes the tracks of a recording whose own descriptions are lost: by those single ones that
 * are left of them, and by what the packets say of themselves (see tellCodec()). A track of which
 * neither tells anything keeps its packets, marked as lost.
 *
 * Throws NotRecognised when the pictures cannot be told: without them, the sound is no video.
 *
 * @param secondsPerBlock of each track, in the mean; 0 when unknown
 * @param late a list of descriptions that came behind the first blocks
 */
void describeLostTracks(const SourceFile &source, const std::vector<double> &secondsPerBlock,
                        const std::optional<Element> &late, MatroskaRecording &recording);
