#pragma once

#include <cstdint>
#include <string>

struct RepairReport
{
    /** Packets that stand in the output. */
    std::int64_t kept = 0;
    /** Packets that were found but are incomplete, or that the container cannot hold. */
    std::int64_t dropped = 0;
    /** Streams of the file that the output lacks. */
    int streamsLeftOut = 0;
};

/**
 * Copies what can be read of every stream into a new file of the same container, mends the time
 * stamps and reads the result back (see readBack()). The damaged file is only read; the output is
 * there whole, or not at all.
 *
 * Throws what MediaInput throws, BadRequest when output and input are one file,
 * ContainerNotWritable, NothingReadable, OutputNotWritten, OutputNotSound.
 */
RepairReport quickRepair(const std::string &damagedPath, const std::string &outputPath);
