#include "engine/iso/TrackTiming.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

/** An edit list of the plain kind: nothing for a while, then the media from some time on. */
struct PlainEdits
{
    /** In the movie's units. */
    std::int64_t emptyTime = 0;
    /** In the track's units. */
    std::int64_t mediaStart = 0;
    bool isPlain = true;
};

PlainEdits readEdits(const SourceFile &source, const IsoTrack &track)
{
    PlainEdits edits;
    const auto container = findBox(childrenOf(source, track.box), fourCc("edts"));
    if (!container)
        return edits;
    const auto list = findBox(childrenOf(source, *container), fourCc("elst"));
    if (!list)
        return edits;
    constexpr std::uint64_t mostUsed = 64;
    const Bytes body =
        source.copy(list->body(), std::min<std::uint64_t>(list->bodySize(), mostUsed));
    if (body.size() < 8)
        return edits;
    const bool isLong = body[0] == 1;
    const std::size_t entrySize = isLong ? 20 : 12;
    const std::uint32_t count = be32(&body[4]);
    edits.isPlain = count <= 2;
    std::size_t shown = 0;
    for (std::size_t i = 0; i < count && 8 + (i + 1) * entrySize <= body.size(); ++i) {
        const std::uint8_t *entry = &body[8 + i * entrySize];
        const auto length = static_cast<std::int64_t>(isLong ? be64(entry) : be32(entry));
        const std::int64_t start = isLong ? static_cast<std::int64_t>(be64(entry + 8))
                                          : static_cast<std::int32_t>(be32(entry + 4));
        if (start < 0)
            edits.emptyTime += length;
        else if (shown++ == 0)
            edits.mediaStart = start;
    }
    edits.isPlain = edits.isPlain && shown <= 1;
    return edits;
}

const Packet *firstKept(const IsoTrack &track)
{
    const auto found = std::find_if(track.packets.begin(), track.packets.end(),
                                    [](const Packet &packet) { return packet.isLost == 0; });
    return found != track.packets.end() ? &*found : nullptr;
}

std::int64_t endOf(const IsoTrack &track)
{
    const auto last = std::find_if(track.packets.rbegin(), track.packets.rend(),
                                   [](const Packet &packet) { return packet.isLost == 0; });
    if (track.uniformSize > 0)
        return last->time + last->size / track.uniformSize * track.uniformDuration;
    if (last == track.packets.rbegin())
        return last->time + track.lastDuration;
    return std::prev(last)->time;
}

/**
 * When the last picture that is shown ends, which is later than the last that is decoded.
 *
 * @param end when the last kept packet ends in the order of decoding
 */
std::int64_t shownUntil(const IsoTrack &track, std::int64_t end)
{
    std::int64_t lastDecoded = 0;
    std::int64_t lastShown = 0;
    for (const Packet &packet : track.packets) {
        if (packet.isLost != 0)
            continue;
        lastDecoded = packet.time;
        lastShown = std::max(lastShown, packet.time + packet.compositionOffset);
    }
    return std::max(end, lastShown + (end - lastDecoded));
}

/** The media's time at which a kept packet is shown first. There must be one. */
std::int64_t earliestShown(const IsoTrack &track)
{
    std::int64_t earliest = std::numeric_limits<std::int64_t>::max();
    for (const Packet &packet : track.packets) {
        if (packet.isLost == 0)
            earliest = std::min(earliest, packet.time + packet.compositionOffset);
    }
    return earliest;
}

/** When the first kept packet is shown at the earliest, in seconds of the damaged recording. */
double startOf(const IsoTrack &track, const PlainEdits &edits, std::int64_t movieTimescale)
{
    const std::int64_t shown = track.firstShown.value_or(firstKept(track)->time - edits.mediaStart);
    return static_cast<double>(edits.emptyTime) / static_cast<double>(movieTimescale) +
           static_cast<double>(std::max<std::int64_t>(shown, 0)) /
               static_cast<double>(track.timescale);
}

/** Which second of the damaged recording is the first of the output. */
double startOfRecording(const IsoRecording &recording, const std::vector<PlainEdits> &edits)
{
    double start = -1;
    for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
        const IsoTrack &track = recording.tracks[i];
        if (track.kind == TrackKind::Other || firstKept(track) == nullptr)
            continue;
        const double ofTrack = startOf(track, edits[i], recording.movieTimescale);
        start = start < 0 ? ofTrack : std::min(start, ofTrack);
    }
    return std::max(start, 0.0);
}

} // namespace

void startAtFirstPackets(const SourceFile &source, IsoRecording &recording)
{
    for (IsoTrack &track : recording.tracks) {
        const Packet *first = firstKept(track);
        if (first == nullptr || first->isKey != 0)
            continue;
        const PlainEdits edits = readEdits(source, track);
        const std::int64_t earliest = earliestShown(track);
        const std::int64_t late = earliest - first->time;
        constexpr std::int64_t furthest = 1 << 30;
        if (!edits.isPlain || std::abs(late) > furthest)
            continue;
        for (Packet &packet : track.packets)
            packet.compositionOffset -= static_cast<std::int32_t>(late);
        track.startsAtFirst = true;
        track.firstShown = earliest - edits.mediaStart;
    }
}

std::vector<TrackTiming> timeTracks(const SourceFile &source, const IsoRecording &recording)
{
    std::vector<PlainEdits> edits;
    for (const IsoTrack &track : recording.tracks)
        edits.push_back(readEdits(source, track));
    const double origin = startOfRecording(recording, edits);
    const auto movieScale = static_cast<double>(recording.movieTimescale);

    std::vector<TrackTiming> timing(recording.tracks.size());
    for (std::size_t i = 0; i < timing.size(); ++i) {
        const IsoTrack &track = recording.tracks[i];
        TrackTiming &times = timing[i];
        times.keptPackets = static_cast<std::size_t>(
            std::count_if(track.packets.begin(), track.packets.end(),
                          [](const Packet &packet) { return packet.isLost == 0; }));
        if (times.keptPackets == 0)
            continue;
        const std::int64_t first = firstKept(track)->time;
        const std::int64_t end = endOf(track);
        times.mediaDuration = end - first;
        const bool isWhole = times.keptPackets == track.packets.size() && track.missing == 0 &&
                             !track.isRetimed && !track.isFragmented && first == 0 &&
                             !track.startsAtFirst;
        times.keepsEdits = isWhole || (first == 0 && !edits[i].isPlain);
        const double lead = startOf(track, edits[i], recording.movieTimescale) - origin;
        times.emptyTime = std::max<std::int64_t>(std::llround(lead * movieScale), 0);
        times.mediaStart =
            track.startsAtFirst ? 0 : std::max<std::int64_t>(edits[i].mediaStart - first, 0);
        // Readers leave out what an edit list no longer shows.
        const double shown =
            static_cast<double>(shownUntil(track, end) - first - times.mediaStart) /
            static_cast<double>(track.timescale);
        times.movieDuration =
            times.emptyTime + std::max<std::int64_t>(std::llround(shown * movieScale), 0);
        if (isWhole && track.statedMovieDuration > 0)
            times.movieDuration = track.statedMovieDuration;
    }
    return timing;
}
