#pragma once

#include "engine/recording/SourceFile.h"

#include <cstdint>
#include <map>
#include <set>

/**
 * Which packets of a transport stream are not whole. The stream does not say how long a picture
 * is, and FFmpeg's reader hands out what there is of it.
 */
struct TransportScan
{
    /** Streams (PIDs) whose last packet does not come to its end. */
    std::set<int> unfinished;
    /** By PID: where packets begin that lack pieces. */
    std::map<int, std::set<std::int64_t>> broken;
};

/**
 * Reads the file once, from its first byte to its last.
 *
 * @param packetSize of the stream in its file: 188, 192 (with a time before each packet) or 204
 */
TransportScan scanTransport(const SourceFile &source, int packetSize);
