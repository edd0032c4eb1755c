#pragma once

#include "engine/media/MediaInput.h"
#include "engine/recording/RepairReport.h"

#include <string>

/** What is known of a file before it is copied. */
enum class Damage {
    Unknown,
    /** Packets are missing in it: where times jump, they are. */
    Known,
};

/**
 * Copies what FFmpeg's reader can read of every stream into a new file of the same container, mends
 * the time stamps and reads the result back (see readBack()). Packets that are known not to be
 * whole, or overwritten with zeros, are left out.
 *
 * Throws BadRequest when output and input are one file, ContainerNotWritable, NothingReadable,
 * OutputNotWritten, OutputNotSound.
 *
 * @param input the damaged file, opened
 * @param damagedPath its name
 */
RepairReport repairWithFfmpeg(MediaInput &input, const std::string &damagedPath,
                              const std::string &outputPath, Damage damage);
