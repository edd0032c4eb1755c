#include "engine/iso/IsoReader.h"

#include "engine/iso/Fragments.h"
#include "engine/iso/OffsetShift.h"
#include "engine/iso/OrphanedTrack.h"
#include "engine/iso/SampleDurations.h"
#include "engine/iso/SampleTables.h"
#include "engine/iso/TrackHeaders.h"

#include <algorithm>

namespace {

bool startsAsQuickTime(const SourceFile &source, const Box &fileType)
{
    const ByteView brand = source.view(fileType.body(), 4);
    return brand.size() == 4 && be32(brand.data()) == fourCc("qt  ");
}

void applyShift(IsoTrack &track, std::int64_t shift)
{
    for (Packet &packet : track.packets) {
        const std::int64_t place = static_cast<std::int64_t>(packet.offset) + shift;
        packet.setLost(place < 0);
        packet.setOffset(static_cast<std::uint64_t>(std::max<std::int64_t>(place, 0)));
    }
}

/** Marks what reaches over the end of the file; of plain sound, whole samples stay. */
void markLost(IsoTrack &track, std::uint64_t fileSize)
{
    for (Packet &packet : track.packets) {
        if (packet.size > largestPacket)
            packet.setLost(true);
        if (packet.end() <= fileSize)
            continue;
        const std::uint64_t there = fileSize - std::min<std::uint64_t>(packet.offset, fileSize);
        const std::uint64_t samples = track.uniformSize > 0 ? there / track.uniformSize : 0;
        if (samples == 0) {
            packet.setLost(true);
            continue;
        }
        packet.size = static_cast<std::uint32_t>(samples * track.uniformSize);
        if (&packet == &track.packets.back())
            track.lastDuration = static_cast<std::int64_t>(samples) * track.uniformDuration;
    }
}

// A packet of which this much is overwritten is lost. Less may be its own.
constexpr std::uint64_t packetStart = 4;

/** How many zeros the file begins with; a sound one begins with a box. */
std::uint64_t zerosAtStart(const SourceFile &source)
{
    const ByteView bytes = source.view(0, SourceFile::windowSize);
    const auto end =
        std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
    return static_cast<std::uint64_t>(end - bytes.begin());
}

/** Where the file's beginning was overwritten, the index's may have been with it. */
void addOrphanedTrack(const SourceFile &source, IsoRecording &recording)
{
    constexpr std::uint64_t leastOverwritten = 16;
    const std::uint64_t from = zerosAtStart(source);
    std::uint64_t to = recording.index.offset;
    double seconds = 0;
    for (const IsoTrack &track : recording.tracks) {
        to = std::min(to, track.box.offset);
        seconds = std::max(seconds, static_cast<double>(track.statedDuration) /
                                        static_cast<double>(track.timescale));
    }
    if (recording.index.headerSize > 0 || from < leastOverwritten || from >= to)
        return;
    auto orphan = readOrphanedTrack(source, from, to, seconds);
    if (!orphan)
        return;
    // It came first, and had a number of its own.
    orphan->id = 1;
    const auto isTaken = [&](const IsoTrack &track) { return track.id == orphan->id; };
    while (std::any_of(recording.tracks.begin(), recording.tracks.end(), isTaken))
        ++orphan->id;
    recording.tracks.insert(recording.tracks.begin(), std::move(*orphan));
}

std::optional<IsoRecording> readIndex(const SourceFile &source, const IsoStructure &structure,
                                      const Box &index)
{
    IsoRecording recording = readTrackHeaders(source, index);
    std::uint64_t most = mostPackets(source.size());
    for (IsoTrack &track : recording.tracks) {
        readSampleTables(source, track, most);
        most -= track.packets.size();
    }
    addOrphanedTrack(source, recording);
    mendSampleDurations(recording);
    recording.offsetShift = findOffsetShift(source, structure, recording);
    if (recording.offsetShift != 0) {
        for (IsoTrack &track : recording.tracks)
            applyShift(track, recording.offsetShift);
    }
    readFragments(source, structure.fragments, recording);
    recording.fileType = structure.fileType;
    if (structure.fileType)
        recording.isQuickTime = startsAsQuickTime(source, *structure.fileType);
    const std::uint64_t zeros = zerosAtStart(source);
    for (IsoTrack &track : recording.tracks) {
        markLost(track, source.size());
        for (Packet &packet : track.packets) {
            if (packet.offset + std::min<std::uint64_t>(packet.size, packetStart) <= zeros)
                packet.setLost(true);
        }
    }
    const bool hasPackets =
        std::any_of(recording.tracks.begin(), recording.tracks.end(),
                    [](const IsoTrack &track) { return !track.packets.empty(); });
    return hasPackets ? std::optional(std::move(recording)) : std::nullopt;
}

} // namespace

std::optional<IsoRecording> readIso(const SourceFile &source, std::uint64_t searchReach)
{
    return readIso(source, findStructure(source, searchReach));
}

std::optional<IsoRecording> readIso(const SourceFile &source, const IsoStructure &structure)
{
    for (const Box &index : structure.indexes) {
        if (auto recording = readIndex(source, structure, index))
            return recording;
    }
    if (!structure.indexes.empty())
        return std::nullopt;
    // Nothing but the tables of one track may be left of it.
    return readIndex(
        source, structure,
        {.type = fourCc("moov"), .offset = source.size(), .headerSize = 0, .end = source.size()});
}
