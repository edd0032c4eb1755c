#pragma once

#include "engine/media/MediaInput.h"
#include "engine/recording/RepairReport.h"

#include <string>

/**
 * Copies what FFmpeg's reader can read of every stream into a new file of the same container, mends
 * the time stamps and reads the result back (see readBack()). Packets that are known not to be
 * whole are left out.
 *
 * Throws BadRequest when output and input are one file, ContainerNotWritable, NothingReadable,
 * OutputNotWritten, OutputNotSound.
 *
 * @param input the damaged file, opened
 * @param damagedPath its name
 */
RepairReport repairWithFfmpeg(MediaInput &input, const std::string &damagedPath,
                              const std::string &outputPath);
