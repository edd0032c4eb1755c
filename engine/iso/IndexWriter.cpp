#include "engine/iso/IndexWriter.h"

#include "engine/iso/OrphanedTrack.h"
#include "engine/iso/TrackTables.h"
#include "engine/iso/TrackTiming.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>

namespace {

// Longer boxes are no description of anything.
constexpr std::uint64_t longestCopy = 64ULL << 20U;

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
            appendBe(body, 0, 12);
            appendBe(body, static_cast<std::uint64_t>(recording.movieTimescale), 4);
            appendBe(body, static_cast<std::uint64_t>(movieDuration()), 4);
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
            appendBox(edits, fourCc("elst"), [&times](Bytes &list) {
                constexpr std::uint64_t normalRate = 0x00010000;
                constexpr std::uint64_t nothing = 0xffffffff;
                const bool hasEmpty = times.emptyTime > 0;
                appendBe(list, 0, 4);
                appendBe(list, hasEmpty ? 2 : 1, 4);
                if (hasEmpty) {
                    appendBe(list, static_cast<std::uint64_t>(times.emptyTime), 4);
                    appendBe(list, nothing, 4);
                    appendBe(list, normalRate, 4);
                }
                appendBe(list, static_cast<std::uint64_t>(times.movieDuration - times.emptyTime),
                         4);
                appendBe(list, static_cast<std::uint64_t>(times.mediaStart), 4);
                appendBe(list, normalRate, 4);
            });
        });
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

    void appendCopy(Bytes &target, const Box &box) const
    {
        if (!box.isCut && !contains(padding, box.type) && box.end - box.offset <= longestCopy)
            appendBytes(target, source.copy(box.offset, box.end - box.offset));
    }

    /** A copy of a header with another duration, which stands at one of two places in its body. */
    void appendPatched(Bytes &target, const Box &box, std::size_t shortPlace, std::size_t longPlace,
                       std::int64_t duration) const
    {
        Bytes copy = source.copy(box.offset, box.end - box.offset);
        const auto header = static_cast<std::size_t>(box.headerSize);
        const bool isLong = copy.size() > header && copy[header] == 1;
        const std::size_t place = header + (isLong ? longPlace : shortPlace);
        const unsigned width = isLong ? 8 : 4;
        const auto longest =
            isLong ? std::numeric_limits<std::int64_t>::max() : std::int64_t{0xffffffff};
        if (copy.size() >= place + width)
            patchBe(copy, place, static_cast<std::uint64_t>(std::min(duration, longest)), width);
        appendBytes(target, copy);
    }

    const SourceFile &source;
    const IsoRecording &recording;
    std::vector<TrackTiming> timing;
};

} // namespace

Bytes makeBox(FourCc type, ByteView body)
{
    Bytes box;
    appendBox(box, type, [body](Bytes &target) { appendBytes(target, body); });
    return box;
}

Bytes makeIndex(const SourceFile &source, const IsoRecording &recording)
{
    return IndexWriter(source, recording).write();
}
