#pragma once

#include "engine/recording/SourceFile.h"

#include <optional>
#include <string>

/**
 * Which container a file is to be read as, by its first bytes; where those are gone, by what its
 * name ends with, and for MP4 and its relatives by nothing at all.
 */

bool mayBeIso(const SourceFile &source);
bool mayBeMatroska(const SourceFile &source);
/** By its first bytes. */
bool isAvi(const SourceFile &source);
bool isFlv(const SourceFile &source);
/** It has lost those, and may have been one. */
bool mayBeAvi(const SourceFile &source);
bool mayBeFlv(const SourceFile &source);

/** The container's name as FFmpeg's, by the first bytes; none where they tell nothing. */
std::optional<std::string> containerOf(const SourceFile &source);
