#pragma once

#include "engine/recording/PiecedFile.h"

#include <limits>

/**
 * Puts a Flash video whose first bytes are lost together anew: a header, and every tag that says
 * before and behind itself how long it is. False when there is none; nothing is then added.
 *
 * @param searchReach so many bytes are looked at
 */
bool addMendedFlv(PiecedFile &file,
                  std::uint64_t searchReach = std::numeric_limits<std::uint64_t>::max());

/**
 * The same for a file that has its first bytes and lacks tags among others. False for a file whose
 * tags follow one another from the first to the last.
 */
bool addDamagedFlv(PiecedFile &file);
