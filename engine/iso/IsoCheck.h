#pragma once

#include "engine/iso/WrittenIso.h"

#include <string>

/**
 * Reads a file back that has just been written, and compares it with what was put in: every byte;
 * what its tables say of every packet, as our own reader understands them and as FFmpeg's does;
 * and, read by FFmpeg one by one, some packets from all over the file, of which some key pictures
 * are decoded.
 *
 * Throws OutputNotSound when the file does not open or anything differs, NothingReadable when
 * there are key pictures and not one of those tried can be decoded.
 */
void checkIso(const std::string &path, const WrittenIso &written);
