#pragma once

#include "engine/media/Ffmpeg.h"
#include "engine/recording/Bytes.h"

/**
 * The list of a stream of sound ("strl") for a header made anew. Empty where AVI has no number for
 * the codec.
 *
 * @param chunks of the stream; of compressed sound each holds one frame
 * @param bytes in all of them
 */
Bytes makeSoundList(const AVCodecParameters &sound, std::uint64_t chunks, std::uint64_t bytes);
