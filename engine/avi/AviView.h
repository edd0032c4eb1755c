#pragma once

#include "engine/recording/PiecedFile.h"

#include <limits>

/**
 * Puts an AVI file whose header is lost together anew: its chunks of pictures and sound, and a
 * header made of what is left of its own and of what the chunks look like. Streams that cannot be
 * told from either are left out. False when no picture can be told; nothing is then added.
 *
 * @param searchReach so many bytes are looked at
 */
bool addMendedAvi(PiecedFile &file,
                  std::uint64_t searchReach = std::numeric_limits<std::uint64_t>::max());

/**
 * The same, and what neither tells stands as in a sample's header: streams of one number and kind
 * are of one make.
 */
bool addAviLike(PiecedFile &file, const SourceFile &sample);

/**
 * As addMendedAvi() for a file that has its header and lacks chunks among others: what is lost
 * leaves its time empty. False for a file whose chunks follow one another from the first to the
 * last.
 */
bool addDamagedAvi(PiecedFile &file);
