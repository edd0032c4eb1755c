#pragma once

#include "engine/matroska/MatroskaRecording.h"

#include <optional>

bool looksLikeMatroska(const SourceFile &source);

/**
 * Walks the elements of a file from its first byte to its last, going on after damage at the next
 * block or cluster that is followed by another. Where it has lost the list of its tracks, their
 * packets tell how they are coded, if they do. None when it holds no block.
 *
 * Throws NotRecognised when the list is lost and the pictures do not say how they are coded.
 */
std::optional<MatroskaRecording> readMatroska(const SourceFile &source);

/**
 * The same for a file that does not say what tracks it has, with what a sample of the same kind
 * says of its own: header and description of tracks are the sample's elements. None when the sample
 * does not say it either, or the file holds no block of them.
 */
std::optional<MatroskaRecording> readMatroskaLike(const SourceFile &source,
                                                  const SourceFile &sample);
