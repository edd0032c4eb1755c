#pragma once

#include "tests/corpus/Contents.h"
#include "tests/corpus/Damages.h"

#include <map>

/** How much of an undamaged recording a repaired file holds. Knows nothing of how it was repaired.
 */
struct Score
{
    /** Packets of the original all of whose bytes came through the damage. */
    std::int64_t recoverable = 0;
    /** Those of them that the output holds. */
    std::int64_t recovered = 0;
    /** Packets of the output that are none of the original's, or too many of one; silence in plain
     * sound is not counted, which keeps what follows it in its time. */
    std::int64_t wrong = 0;
    /** Packets of the original that stand in the output before one that came before them. */
    std::int64_t misplaced = 0;
    /** Packets of the original that the output shows at another time than the original, counted
     * from the first, by more than `timeTolerance`. */
    std::int64_t mistimed = 0;
    /** Seconds; the largest such difference, of all packets. Picture against sound as well. */
    double timeError = 0;
    /** Packets of the original in the output. */
    std::int64_t matched = 0;
    /** The same two of pictures ('v'), sound ('a') and anything else ('d'). */
    std::map<char, std::int64_t> recoverableOf = {};
    std::map<char, std::int64_t> recoveredOf = {};
    /** Seconds; how much later than beside the picture that it belongs to sound is, at most. */
    double soundError = 0;

    /** Seconds: coarse clocks of containers differ by less. */
    static constexpr double timeTolerance = 0.0011;

    double recall() const
    {
        return recoverable == 0 ? 1
                                : static_cast<double>(recovered) / static_cast<double>(recoverable);
    }
    bool isPerfect() const
    {
        return recovered == recoverable && wrong == 0 && misplaced == 0 && mistimed == 0;
    }
};

/**
 * Compares an output with the recording that the damaged file once was. Streams are told by what
 * they hold, not by their order.
 */
Score scoreOf(const Contents &original, const DamagedFile &damaged, const Contents &output);
