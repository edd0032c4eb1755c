#pragma once

#include "tests/corpus/Damages.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <map>

/** The pictures that decoding a video shows: by a hash of what is seen, how often each. */
using DecodedPictures = std::map<std::uint64_t, std::int64_t>;

/** Of the pictures of a recording, those that decode to the very same as before the damage. */
struct DecodedScore
{
    /** What the recording shows without damage. */
    std::int64_t all = 0;
    /** With all packets of the recording whose bytes came through the damage: more cannot be had.
     */
    std::int64_t possible = 0;
    /** Those of them that the output shows. */
    std::int64_t shown = 0;
};

/** Whether a packet is decoded; by its place and size in the file, in bytes. */
using PacketFilter = std::function<bool(std::int64_t, std::int64_t)>;

/**
 * Decodes the first video of a file with one thread; pictures that the decoder makes up in the
 * place of missing ones are among them. A file that does not open shows none.
 */
DecodedPictures decodedPictures(const QString &path, const PacketFilter &keeps = nullptr);

/**
 * Compares what two videos show, as decodedPictures() tells it. `original` is decoded once in a
 * program for all comparisons: it may not change.
 */
DecodedScore decodedScoreOf(const QString &original, const DamagedFile &damaged,
                            const QString &output);
