#pragma once

#include "engine/recording/RepairReport.h"

#include <string>

/**
 * Makes a sound file of the same container out of what is left in a damaged one, and reads it back
 * before it counts. Where we have a reader and a writer of our own for the container, these find
 * the packets and keep all else as it was; otherwise, FFmpeg's do as far as they can read the file.
 * The damaged file is only read; the output is there whole, or not at all.
 *
 * Throws what MediaInput throws, BadRequest when output and input are one file,
 * ContainerNotWritable, NothingReadable, OutputNotWritten, OutputNotSound.
 */
RepairReport quickRepair(const std::string &damagedPath, const std::string &outputPath);
