#pragma once

#include "engine/recording/Recording.h"

#include <optional>
#include <string>
#include <vector>

/** What became of one track. */
struct TrackReport
{
    TrackKind kind = TrackKind::Other;
    /** The container's name for the codec. */
    std::string codec;
    /** Packets of which the file tells, in any state. */
    std::int64_t found = 0;
    /** Packets that stand in the output. */
    std::int64_t kept = 0;
    /** Spans of time, in seconds of the damaged recording, without packets: the first of them. */
    std::vector<Gap> gaps = {};

    static constexpr std::size_t mostGaps = 100;

    std::int64_t lost() const { return found - kept; }
};

struct RepairReport
{
    /** FFmpeg's name of the container. */
    std::string container;
    /** In the output's order; those that it lacks stand last. */
    std::vector<TrackReport> tracks = {};
    /** Streams of the file that the output lacks. */
    int streamsLeftOut = 0;
    /** What else people should know: sentences. */
    std::vector<std::string> remarks = {};

    std::int64_t kept() const;
    std::int64_t lost() const;
};

/** One or a few sentences for people. */
std::string sentenceOf(const RepairReport &report);

/** A track's report, from its packets: those marked as lost are. */
TrackReport reportOf(const Track &track);
