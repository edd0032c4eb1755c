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

// In any units: what is longer is nonsense, and sums of it would be no number.
constexpr std::uint64_t longestTime = 1ULL << 50U;

/** The nearest whole number to a time, which is none that could not be. */
std::int64_t wholeTime(double time)
{
    return std::llround(std::clamp(time, 0.0, static_cast<double>(longestTime)));
}

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
        const std::uint64_t length = isLong ? be64(entry) : be32(entry);
        const std::int64_t start = isLong ? static_cast<std::int64_t>(be64(entry + 8))
                                          : static_cast<std::int32_t>(be32(entry + 4));
        if (start < 0)
            edits.emptyTime += static_cast<std::int64_t>(std::min(length, longestTime));
        else if (shown++ == 0)
            edits.mediaStart = std::min(start, static_cast<std::int64_t>(longestTime));
    }
    edits.isPlain = edits.isPlain && shown <= 1;
    return edits;
}

/** The first that is not lost and decoded at this time or later; null when there is none. */
const Packet *firstKeptFrom(const IsoTrack &track, std::int64_t time)
{
    const auto found =
        std::find_if(track.packets.begin(), track.packets.end(), [time](const Packet &packet) {
            return packet.isLost == 0 && packet.time >= time;
        });
    return found != track.packets.end() ? &*found : nullptr;
}

const Packet *firstKept(const IsoTrack &track)
{
    return firstKeptFrom(track, std::numeric_limits<std::int64_t>::min());
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

/** What can be said of a track by itself. */
TrackTiming extentOf(const IsoTrack &track)
{
    TrackTiming times;
    times.keptPackets = static_cast<std::size_t>(
        std::count_if(track.packets.begin(), track.packets.end(),
                      [](const Packet &packet) { return packet.isLost == 0; }));
    if (times.keptPackets > 0)
        times.mediaDuration = endOf(track) - firstKept(track)->time;
    return times;
}

/** All of it is there, at the times that the index gives it. */
bool isWhole(const IsoTrack &track)
{
    return std::none_of(track.packets.begin(), track.packets.end(),
                        [](const Packet &packet) { return packet.isLost != 0; }) &&
           track.missing == 0 && !track.isRetimed && !track.isFragmented &&
           !track.packets.empty() && track.packets.front().time == 0 && !track.startsAtFirst;
}

bool mayKeepEdits(const IsoTrack &track, const PlainEdits &edits)
{
    const Packet *first = firstKept(track);
    return isWhole(track) || (first != nullptr && first->time == 0 && !edits.isPlain);
}

/**
 * Says where a track that has packets lies in the output.
 *
 * @param origin which second of the damaged recording is the first of the output
 */
void placeInTime(const IsoRecording &recording, std::size_t number, const PlainEdits &edits,
                 double origin, TrackTiming &times)
{
    const IsoTrack &track = recording.tracks[number];
    const auto movieScale = static_cast<double>(recording.movieTimescale);
    const auto mediaScale = static_cast<double>(track.timescale);
    const std::int64_t first = firstKept(track)->time;
    const double lead = startOf(track, edits, recording.movieTimescale) - origin;
    times.emptyTime = wholeTime(lead * movieScale);
    times.mediaStart =
        track.startsAtFirst ? 0 : std::max<std::int64_t>(edits.mediaStart - first, 0);
    // Data that begins before the pictures and the sound is not shown before they are.
    const std::int64_t begin = first + times.mediaStart + wholeTime(-lead * mediaScale);
    const Packet *shownFirst =
        lead < 0 && track.kind == TrackKind::Other ? firstKeptFrom(track, begin) : nullptr;
    if (shownFirst != nullptr) {
        times.keepsEdits = false;
        times.mediaStart = shownFirst->time - first;
        // Readers want showing to begin where a packet does.
        times.emptyTime =
            wholeTime(static_cast<double>(shownFirst->time - begin) / mediaScale * movieScale);
    }
    // Readers leave out what an edit list no longer shows.
    const auto shown = static_cast<double>(shownUntil(track, first + times.mediaDuration) - first -
                                           times.mediaStart);
    times.movieDuration = times.emptyTime + wholeTime(shown / mediaScale * movieScale);
    if (times.keepsEdits && isWhole(track) && track.statedMovieDuration > 0)
        times.movieDuration = track.statedMovieDuration;
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
            packet.showEarlier(late);
        track.startsAtFirst = true;
        track.firstShown = earliest - edits.mediaStart;
    }
}

std::vector<TrackTiming> timeTracks(const SourceFile &source, const IsoRecording &recording)
{
    std::vector<PlainEdits> edits;
    for (const IsoTrack &track : recording.tracks)
        edits.push_back(readEdits(source, track));
    std::vector<TrackTiming> timing(recording.tracks.size());
    bool isAnyAsItWas = false;
    for (std::size_t i = 0; i < timing.size(); ++i) {
        const IsoTrack &track = recording.tracks[i];
        timing[i] = extentOf(track);
        timing[i].keepsEdits = mayKeepEdits(track, edits[i]);
        isAnyAsItWas = isAnyAsItWas || (timing[i].keepsEdits && track.kind != TrackKind::Other);
    }
    // Pictures and sound that begin when they always did are what the others are timed by.
    const double origin = isAnyAsItWas ? 0 : startOfRecording(recording, edits);
    for (std::size_t i = 0; i < timing.size(); ++i) {
        if (timing[i].keptPackets > 0)
            placeInTime(recording, i, edits[i], origin, timing[i]);
    }
    return timing;
}
