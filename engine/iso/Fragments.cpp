#include "engine/iso/Fragments.h"

#include "engine/iso/SampleTables.h"

#include <algorithm>
#include <map>

namespace {

/** What holds for a track's samples where a fragment says nothing else ("trex", "tfhd"). */
struct Defaults
{
    std::uint32_t description = 1;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

constexpr std::uint32_t isNoKeySample = 0x10000;

/** Fields of a box's body in their order; all zero behind its end. */
class Fields
{
public:
    Fields(const SourceFile &file, const Box &box)
        : source(file), position(box.body()), end(box.end)
    {
    }

    std::uint64_t next(unsigned width)
    {
        const ByteView bytes = source.view(position, width);
        if (width > remaining() || bytes.size() < width) {
            position = end;
            return 0;
        }
        position += width;
        return width == 8 ? be64(bytes.data()) : be32(bytes.data());
    }

    std::uint32_t next32() { return static_cast<std::uint32_t>(next(4)); }
    std::uint64_t remaining() const { return end - std::min(position, end); }

private:
    const SourceFile &source;
    std::uint64_t position;
    std::uint64_t end;
};

std::map<std::uint32_t, Defaults> readDefaults(const SourceFile &source, const Box &index)
{
    std::map<std::uint32_t, Defaults> defaults;
    const auto extends = findBox(childrenOf(source, index), fourCc("mvex"));
    if (!extends)
        return defaults;
    for (const Box &box : childrenOf(source, *extends)) {
        if (box.type != fourCc("trex"))
            continue;
        Fields fields(source, box);
        fields.next32();
        Defaults &ofTrack = defaults[fields.next32()];
        ofTrack.description = fields.next32();
        ofTrack.duration = fields.next32();
        ofTrack.size = fields.next32();
        ofTrack.flags = fields.next32();
    }
    return defaults;
}

/** The fragments of one file, in their order. */
class FragmentReader
{
public:
    FragmentReader(const SourceFile &file, const SourceFile &description, IsoRecording &target)
        : source(file), recording(target), defaults(readDefaults(description, target.index))
    {
        for (IsoTrack &track : recording.tracks) {
            nextTimes[track.id] =
                track.packets.empty() ? 0 : track.packets.back().time + track.lastDuration;
            packets += track.packets.size();
        }
    }

    void read(const Box &fragment)
    {
        // Data of a track begins where that of the one before ends, unless something else is said.
        std::uint64_t data = fragment.offset;
        for (const Box &box : childrenOf(source, fragment)) {
            if (box.type == fourCc("traf"))
                data = readTrackFragment(fragment, box, data);
        }
    }

private:
    struct Run
    {
        IsoTrack *track;
        Defaults defaults;
        std::uint64_t base;
        std::uint64_t position;
    };

    IsoTrack *trackOf(std::uint32_t id)
    {
        const auto found = std::find_if(recording.tracks.begin(), recording.tracks.end(),
                                        [id](const IsoTrack &track) { return track.id == id; });
        return found != recording.tracks.end() ? &*found : nullptr;
    }

    std::uint64_t readTrackFragment(const Box &fragment, const Box &box, std::uint64_t data)
    {
        const auto parts = childrenOf(source, box);
        const auto header = findBox(parts, fourCc("tfhd"));
        if (!header)
            return data;
        Fields fields(source, *header);
        const std::uint32_t flags = fields.next32();
        const std::uint32_t id = fields.next32();
        IsoTrack *track = trackOf(id);
        if (track == nullptr)
            return data;
        Run run = {.track = track, .defaults = defaults[id], .base = data, .position = data};
        if ((flags & 0x1U) != 0)
            run.base = std::min(fields.next(8), Packet::furthest);
        else if ((flags & 0x20000U) != 0)
            run.base = fragment.offset;
        run.position = run.base;
        for (const auto &[bit, field] :
             {std::pair(0x2U, &Defaults::description), std::pair(0x8U, &Defaults::duration),
              std::pair(0x10U, &Defaults::size), std::pair(0x20U, &Defaults::flags)}) {
            if ((flags & bit) != 0)
                run.defaults.*field = fields.next32();
        }
        run.track->isFragmented = true;
        if (const auto time = findBox(parts, fourCc("tfdt")))
            setTime(*time, id);
        for (const Box &part : parts) {
            if (part.type == fourCc("trun"))
                readRun(part, run);
        }
        return run.position;
    }

    void setTime(const Box &box, std::uint32_t id)
    {
        Fields fields(source, box);
        const bool isLong = fields.next32() >> 24U == 1;
        const std::uint64_t time = fields.next(isLong ? 8 : 4);
        constexpr std::uint64_t latest = 1ULL << 60U;
        // Times grow; one that does not is as good as none.
        if (time < latest && static_cast<std::int64_t>(time) >= nextTimes[id])
            nextTimes[id] = static_cast<std::int64_t>(time);
    }

    void readRun(const Box &box, Run &run)
    {
        Fields fields(source, box);
        const std::uint32_t flags = fields.next32();
        const std::uint32_t count = fields.next32();
        if ((flags & 0x1U) != 0)
            run.position = placeFrom(run.base, static_cast<std::int32_t>(fields.next32()));
        std::uint32_t firstFlags = run.defaults.flags;
        const bool hasFirstFlags = (flags & 0x4U) != 0;
        if (hasFirstFlags)
            firstFlags = fields.next32();
        const std::uint64_t bytesPerSample =
            (static_cast<std::uint64_t>((flags >> 8U) & 1U) + ((flags >> 9U) & 1U) +
             ((flags >> 10U) & 1U) + ((flags >> 11U) & 1U)) *
            4;
        for (std::uint32_t i = 0; i < count && fields.remaining() >= bytesPerSample; ++i) {
            // Samples that say nothing of themselves could be any number.
            const bool isBeyond = run.position >= source.size() || run.defaults.size == 0;
            if ((isBeyond && bytesPerSample == 0) || packets >= mostPackets(source.size()))
                break;
            Defaults sample = run.defaults;
            if (i == 0 && hasFirstFlags)
                sample.flags = firstFlags;
            readSample(fields, flags, sample, run);
        }
    }

    /** Places before the file's first byte are as good as those behind its last. */
    static std::uint64_t placeFrom(std::uint64_t base, std::int32_t distance)
    {
        const std::int64_t place = static_cast<std::int64_t>(base) + distance;
        return place >= 0 ? static_cast<std::uint64_t>(place) : Packet::furthest;
    }

    void readSample(Fields &fields, std::uint32_t runFlags, Defaults sample, Run &run)
    {
        if ((runFlags & 0x100U) != 0)
            sample.duration = fields.next32();
        if ((runFlags & 0x200U) != 0)
            sample.size = fields.next32();
        if ((runFlags & 0x400U) != 0)
            sample.flags = fields.next32();
        IsoTrack &track = *run.track;
        std::int64_t &time = nextTimes[track.id];
        Packet packet = {.time = time, .size = sample.size};
        packet.setDescription(descriptionOf(track, sample.description));
        packet.setOffset(run.position);
        packet.setKey((sample.flags & isNoKeySample) == 0);
        packet.compositionOffset =
            (runFlags & 0x800U) != 0 ? static_cast<std::int32_t>(fields.next32()) : 0;
        track.hasKeyList = track.hasKeyList || packet.isKey == 0;
        track.lastDuration = sample.duration;
        track.packets.push_back(packet);
        ++packets;
        run.position = std::min(run.position + sample.size, Packet::furthest);
        time += sample.duration;
    }

    const SourceFile &source;
    IsoRecording &recording;
    std::map<std::uint32_t, Defaults> defaults;
    std::map<std::uint32_t, std::int64_t> nextTimes;
    /** Of all tracks. */
    std::uint64_t packets = 0;
};

} // namespace

void readFragments(const SourceFile &source, const std::vector<Box> &fragments,
                   IsoRecording &recording)
{
    readFragments(source, fragments, source, recording);
}

void readFragments(const SourceFile &source, const std::vector<Box> &fragments,
                   const SourceFile &description, IsoRecording &recording)
{
    FragmentReader reader(source, description, recording);
    for (const Box &fragment : fragments)
        reader.read(fragment);
}
