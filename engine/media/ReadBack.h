#pragma once

#include <cstdint>
#include <map>
#include <string>

/** Bytes of packets by kind of stream, as AVMediaType numbers them. */
using PacketBytes = std::map<int, std::int64_t>;

/**
 * Reads a file that has just been written to its end and compares it with what was put in.
 * Throws OutputNotSound when it does not open, cannot be read to its end, holds an incomplete
 * packet, or has fewer bytes of a kind of stream than were written.
 */
void readBack(const std::string &path, const PacketBytes &written);
