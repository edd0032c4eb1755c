#pragma once

#include "engine/recording/SourceFile.h"

/**
 * Which container a file is to be read as, by its first bytes; where those are gone, by what its
 * name ends with, and for MP4 and its relatives by nothing at all.
 */

bool mayBeIso(const SourceFile &source);
bool mayBeMatroska(const SourceFile &source);
bool mayBeAvi(const SourceFile &source);
bool mayBeFlv(const SourceFile &source);
