#pragma once

#include <string>

/**
 * Writes the first picture of a video that decodes without error as a JPEG: upright, its sides
 * divided by `scale` (at least one pixel stays). Where no picture is without error, the first
 * that decodes at all is taken. The file at `photoPath` is there whole or not at all.
 *
 * Throws what MediaInput throws, NoPicture, OutputNotWritten, and BadRequest when picture and video
 * are one file.
 */
void writeFirstPicture(const std::string &videoPath, const std::string &photoPath, int scale);
