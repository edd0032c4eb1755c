#pragma once

#include "engine/iso/IsoRecording.h"

#include <vector>

/** How a track of the output lies in time. */
struct TrackTiming
{
    std::size_t keptPackets = 0;
    /** From the first kept packet on, in the track's units. */
    std::int64_t mediaDuration = 0;
    /** All that is shown, in the movie's units. */
    std::int64_t movieDuration = 0;
    /** The edit list holds as it is. */
    bool keepsEdits = true;
    /** Otherwise: how long nothing is shown at first, in the movie's units. */
    std::int64_t emptyTime = 0;
    /** And the media's time at which showing it begins, in the track's units. */
    std::int64_t mediaStart = 0;
};

/**
 * Has tracks whose first key picture is lost begin with the first packet that is shown: readers
 * leave an edit list alone that begins where there is no key picture, and have the first picture
 * shown where the list's empty time ends. Their composition offsets then tell all else.
 */
void startAtFirstPackets(const SourceFile &source, IsoRecording &recording);

/** One for each track, in their order. */
std::vector<TrackTiming> timeTracks(const SourceFile &source, const IsoRecording &recording);
