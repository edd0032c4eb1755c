#pragma once

#include "engine/matroska/MatroskaRecording.h"
#include "engine/recording/SelfCheck.h"

#include <string>

/**
 * Writes a recording as a sound file: its own description as far as it is there, its clusters with
 * the blocks that are whole, and an index of its key pictures. Blocks that turn out to be
 * overwritten with zeros are marked as lost.
 *
 * Throws OutputNotWritten.
 *
 * @param path of the output, UTF-8
 * @return what the file must read back as
 */
std::vector<ExpectedTrack> writeMatroska(const SourceFile &source, MatroskaRecording &recording,
                                         const std::string &path);

/** The same with header and description of tracks from another file: see readMatroskaLike(). */
std::vector<ExpectedTrack> writeMatroskaLike(const SourceFile &media, const SourceFile &description,
                                             MatroskaRecording &recording, const std::string &path);
