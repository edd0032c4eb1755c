#pragma once

#include "engine/recording/PiecedFile.h"

/**
 * Puts an AVI file whose header is lost together anew: its chunks of pictures and sound, and a
 * header made of what is left of its own and of what the chunks look like. Streams that cannot be
 * told from either are left out. False when no picture can be told; nothing is then added.
 */
bool addMendedAvi(PiecedFile &file);
