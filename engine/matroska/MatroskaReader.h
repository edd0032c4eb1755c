#pragma once

#include "engine/matroska/MatroskaRecording.h"

#include <optional>

bool looksLikeMatroska(const SourceFile &source);

/**
 * Walks the elements of a file from its first byte to its last, going on after damage at the next
 * block or cluster that is followed by another. None when it does not say what tracks it has, or
 * holds no block of them.
 */
std::optional<MatroskaRecording> readMatroska(const SourceFile &source);
