#include "engine/iso/IndexWriter.h"

#include "engine/iso/OrphanedTrack.h"
#include "engine/iso/TrackTables.h"
#include "engine/iso/TrackTiming.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>

namespace {

// What describes a recording beside its packets has fewer bytes, pictures and sample groups
// included.
constexpr std::uint64_t mostCopied = 64ULL << 20U;

// Durations of 32 bits; all ones mean that it is unknown.
constexpr std::int64_t longestShort = 0xfffffffe;
// Times in the media where an edit begins have a sign.
constexpr std::int64_t longestShortStart = 0x7fffffff;

constexpr std::array padding = {fourCc("free"), fourCc("skip")};

/** Says of each sample something that holds as long as no sample is gone. */
constexpr std::array sampleBoundTables = {fourCc("sdtp"), fourCc("sbgp"), fourCc("subs"),
                                          fourCc("stps"), fourCc("stsh"), fourCc("padb")};

/** Made anew, or (where auxiliary data of samples stands) of no use at another place. */
constexpr std::array replacedTables = {
    fourCc("stts"), fourCc("ctts"), fourCc("stsc"), fourCc("stsz"), fourCc("stz2"),
    fourCc("stco"), fourCc("co64"), fourCc("stss"), fourCc("saio"), fourCc("saiz")};

template <std::size_t Size>
bool contains(const std::array<FourCc, Size> &types, FourCc type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

/** Appends a box whose body is appended by `appendBody`. */
void appendBox(Bytes &target, FourCc type, const std::function<void(Bytes &)> &appendBody)
{
    const std::size_t start = target.size();
    appendBe(target, 0, 4);
    appendBe(target, type, 4);
    appendBody(target);
    patchBe(target, start, target.size() - start, 4);
}

/** A header of version 0 as one of version 1, whose times and duration have 64 bits. */
Bytes longHeader(const Bytes &shortHeader, std::size_t durationPlace, std::int64_t duration)
{
    constexpr std::size_t flagsEnd = 4;
    constexpr std::size_t timesEnd = 12;
    const ByteView from(shortHeader);
    Bytes header = {1};
    appendBytes(header, from.subspan(1, flagsEnd - 1));
    appendBe(header, be32(&from[flagsEnd]), 8);
    appendBe(header, be32(&from[flagsEnd + 4]), 8);
    appendBytes(header, from.subspan(timesEnd, durationPlace - timesEnd));
    appendBe(header, static_cast<std::uint64_t>(duration), 8);
    appendBytes(header, from.subspan(durationPlace + 4));
    return header;
}

class IndexWriter
{
public:
    IndexWriter(const SourceFile &file, const IsoRecording &ofRecording)
        : source(file), recording(ofRecording), timing(timeTracks(file, ofRecording))
    {
    }

    Bytes write()
    {
        // Of millions of packets: one that grows as it is filled would be there twice at times.
        constexpr std::size_t mostOfPacket = 24;
        constexpr std::size_t rest = 65536;
        std::size_t packets = 0;
        for (const TrackTiming &track : timing)
            packets += track.keptPackets;
        Bytes index;
        index.reserve(rest + packets * mostOfPacket);
        appendBox(index, fourCc("moov"), [this](Bytes &target) { appendMovie(target); });
        return index;
    }

private:
    std::int64_t movieDuration() const
    {
        std::int64_t longest = 0;
        for (const TrackTiming &track : timing)
            longest = std::max(longest, track.movieDuration);
        return longest;
    }

    void appendMovie(Bytes &target)
    {
        const auto parts = childrenOf(source, recording.index);
        const auto header = findBox(parts, fourCc("mvhd"));
        if (header)
            appendPatched(target, *header, 16, 24, movieDuration());
        else
            appendMovieHeader(target);
        for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
            const IsoTrack &track = recording.tracks[i];
            if (timing[i].keptPackets == 0)
                continue;
            if (track.madeDescription.empty())
                appendTrack(target, track, timing[i]);
            else
                appendMadeTrack(target, track, timing[i].movieDuration, timing[i].mediaDuration);
        }
        for (const Box &box : parts) {
            if (box.type != fourCc("mvhd") && box.type != fourCc("trak") &&
                box.type != fourCc("mvex"))
                appendCopy(target, box);
        }
    }

    /** For an index that has lost its own: upright, at normal speed and volume. */
    void appendMovieHeader(Bytes &target) const
    {
        appendBox(target, fourCc("mvhd"), [this](Bytes &body) {
            appendHeaderTimes(body, 0, static_cast<std::uint64_t>(recording.movieTimescale), 4,
                              movieDuration());
            appendBe(body, 0x00010000, 4);
            appendBe(body, 0x0100, 2);
            appendBe(body, 0, 10);
            for (const std::uint32_t number :
                 {0x00010000U, 0U, 0U, 0U, 0x00010000U, 0U, 0U, 0U, 0x40000000U})
                appendBe(body, number, 4);
            appendBe(body, 0, 24);
            std::uint32_t lastId = 0;
            for (const IsoTrack &track : recording.tracks)
                lastId = std::max(lastId, track.id);
            appendBe(body, lastId + 1, 4);
        });
    }

    void appendTrack(Bytes &target, const IsoTrack &track, const TrackTiming &times)
    {
        appendBox(target, fourCc("trak"), [&](Bytes &body) {
            for (const Box &box : childrenOf(source, track.box)) {
                if (box.type == fourCc("tkhd")) {
                    appendPatched(body, box, 20, 28, times.movieDuration);
                    appendEdits(body, track, times);
                } else if (box.type == fourCc("mdia")) {
                    appendMedia(body, box, track, times);
                } else if (box.type != fourCc("edts")) {
                    appendCopy(body, box);
                }
            }
        });
    }

    void appendEdits(Bytes &target, const IsoTrack &track, const TrackTiming &times)
    {
        if (times.keepsEdits) {
            if (const auto edits = findBox(childrenOf(source, track.box), fourCc("edts")))
                appendCopy(target, *edits);
            return;
        }
        if (times.emptyTime == 0 && times.mediaStart == 0)
            return;
        appendBox(target, fourCc("edts"), [&times](Bytes &edits) {
            appendBox(edits, fourCc("elst"),
                      [&times](Bytes &list) { appendEditList(list, times); });
        });
    }

    static void appendEditList(Bytes &list, const TrackTiming &times)
    {
        constexpr std::uint64_t normalRate = 0x00010000;
        constexpr std::uint64_t longVersion = 1ULL << 24U;
        const bool hasEmpty = times.emptyTime > 0;
        const bool isLong =
            times.movieDuration > longestShort || times.mediaStart > longestShortStart;
        const auto appendEdit = [&list, width = isLong ? 8U : 4U](std::int64_t duration,
                                                                  std::int64_t start) {
            appendBe(list, static_cast<std::uint64_t>(duration), width);
            appendBe(list, static_cast<std::uint64_t>(start), width);
            appendBe(list, normalRate, 4);
        };
        appendBe(list, isLong ? longVersion : 0, 4);
        appendBe(list, hasEmpty ? 2 : 1, 4);
        if (hasEmpty)
            appendEdit(times.emptyTime, -1);
        appendEdit(times.movieDuration - times.emptyTime, times.mediaStart);
    }

    void appendMedia(Bytes &target, const Box &media, const IsoTrack &track,
                     const TrackTiming &times)
    {
        appendBox(target, fourCc("mdia"), [&](Bytes &body) {
            for (const Box &box : childrenOf(source, media)) {
                if (box.type == fourCc("mdhd"))
                    appendPatched(body, box, 16, 24, times.mediaDuration);
                else if (box.type == fourCc("minf"))
                    appendInformation(body, box, track, times);
                else
                    appendCopy(body, box);
            }
        });
    }

    void appendInformation(Bytes &target, const Box &information, const IsoTrack &track,
                           const TrackTiming &times)
    {
        appendBox(target, fourCc("minf"), [&](Bytes &body) {
            for (const Box &box : childrenOf(source, information)) {
                if (box.type == fourCc("stbl"))
                    appendTables(body, box, track, times);
                else
                    appendCopy(body, box);
            }
        });
    }

    void appendTables(Bytes &target, const Box &tables, const IsoTrack &track,
                      const TrackTiming &times)
    {
        const bool areAllKept =
            times.keptPackets == track.packets.size() && track.missing == 0 && !track.isFragmented;
        appendBox(target, fourCc("stbl"), [&](Bytes &body) {
            for (const Box &box : childrenOf(source, tables)) {
                if (!contains(replacedTables, box.type) &&
                    (areAllKept || !contains(sampleBoundTables, box.type)))
                    appendCopy(body, box);
            }
            appendTrackTables(body, track);
        });
    }

    void appendCopy(Bytes &target, const Box &box)
    {
        const std::uint64_t size = box.end - box.offset;
        if (box.isCut || contains(padding, box.type) || size > mostCopied - copied)
            return;
        copied += size;
        appendBytes(target, source.copy(box.offset, size));
    }

    /** A copy of a header with another duration, which stands at one of two places in its body. */
    void appendPatched(Bytes &target, const Box &box, std::size_t shortPlace, std::size_t longPlace,
                       std::int64_t duration) const
    {
        constexpr std::uint64_t longestHeader = 1024;
        Bytes body = source.copy(box.body(), std::min(box.bodySize(), longestHeader));
        const bool isLong = !body.empty() && body[0] == 1;
        if (!isLong && duration > longestShort && body.size() >= shortPlace + 4)
            body = longHeader(body, shortPlace, duration);
        else if (body.size() >= (isLong ? longPlace + 8 : shortPlace + 4))
            patchBe(body, isLong ? longPlace : shortPlace, static_cast<std::uint64_t>(duration),
                    isLong ? 8 : 4);
        appendBytes(target, makeBox(box.type, body));
    }

    const SourceFile &source;
    const IsoRecording &recording;
    std::vector<TrackTiming> timing;
    /** Bytes of boxes that are as they were. */
    std::uint64_t copied = 0;
};

} // namespace

Bytes makeBox(FourCc type, ByteView body)
{
    Bytes box;
    appendBox(box, type, [body](Bytes &target) { appendBytes(target, body); });
    return box;
}

void appendHeaderTimes(Bytes &target, std::uint32_t flags, std::uint64_t field, unsigned fieldSize,
                       std::int64_t duration)
{
    const bool isLong = duration > longestShort;
    const unsigned width = isLong ? 8 : 4;
    appendBe(target, isLong ? 1 : 0, 1);
    appendBe(target, flags, 3);
    appendBe(target, 0, 2 * width);
    appendBe(target, field, fieldSize);
    appendBe(target, static_cast<std::uint64_t>(duration), width);
}

Bytes makeIndex(const SourceFile &source, const IsoRecording &recording)
{
    return IndexWriter(source, recording).write();
}
