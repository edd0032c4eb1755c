#pragma once

#include "engine/recording/PiecedFile.h"

/**
 * Puts together a raw stream that begins with a key picture, out of a file of which nothing else
 * can be told: parameter sets of H.264 or HEVC and the pictures behind them, or two pictures of
 * motion JPEG. Parameter sets are looked for among the pictures and in what is left of an index or
 * a header; only the first 64 MiB of the file are looked at, and no more than some MiB are taken.
 *
 * Returns FFmpeg's name of the reader for it. Null when there is no such thing; nothing is then
 * added.
 */
const char *addElementaryVideo(PiecedFile &file);
