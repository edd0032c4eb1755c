#include "engine/matroska/MatroskaReader.h"

#include "engine/matroska/LostTracks.h"
#include "engine/matroska/TrackEntries.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>

namespace {

// A block, an addition to it, what it refers to, and the like.
constexpr std::size_t mostInGroup = 64;
// Later times than these are nonsense.
constexpr std::uint64_t timeMask = (1ULL << 48U) - 1;

constexpr std::size_t searchWindow = 1U << 20U;
// Header of an element and of the block in it.
constexpr std::size_t searchOverlap = 32;

constexpr std::array topIds = {MatroskaId::header,     MatroskaId::segment,  MatroskaId::seekHead,
                               MatroskaId::info,       MatroskaId::tracks,   MatroskaId::cluster,
                               MatroskaId::cues,       MatroskaId::chapters, MatroskaId::tags,
                               MatroskaId::attachments};

constexpr std::array clusterIds = {MatroskaId::clusterTime,  MatroskaId::clusterPosition,
                                   MatroskaId::previousSize, MatroskaId::simpleBlock,
                                   MatroskaId::blockGroup,   MatroskaId::silentTracks,
                                   MatroskaId::filler,       MatroskaId::checksum};

template <std::size_t Size>
bool contains(const std::array<std::uint32_t, Size> &ids, std::uint32_t id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/** The fixed part of a block. */
struct BlockHeader
{
    std::uint64_t track = 0;
    std::int16_t time = 0;
    bool isKey = false;
    bool hasLacing = false;
    /** Where its frames begin. */
    std::uint64_t frames = 0;
};

std::optional<BlockHeader> readBlockHeader(const SourceFile &source, const Element &block)
{
    constexpr std::size_t fixedPart = 3;
    constexpr unsigned unusedFlags = 0x70;
    const ByteView bytes = source.view(
        block.body(), static_cast<std::size_t>(std::min<std::uint64_t>(block.bodySize(), 12)));
    BlockHeader header;
    const unsigned length = readVariable(bytes, header.track);
    if (length == 0 || bytes.size() < length + fixedPart)
        return std::nullopt;
    header.time = static_cast<std::int16_t>(be16(&bytes[length]));
    const unsigned flags = bytes[length + 2];
    if ((flags & unusedFlags) != 0)
        return std::nullopt;
    header.isKey = (flags & 0x80U) != 0;
    header.hasLacing = (flags & 0x06U) != 0;
    header.frames = block.body() + length + fixedPart;
    return header;
}

class Walk
{
public:
    explicit Walk(const SourceFile &file) : source(file) {}
    Walk(const SourceFile &file, MatroskaRecording described)
        : source(file), recording(std::move(described)), isDescribed(true)
    {
    }

    MatroskaRecording run()
    {
        std::uint64_t position = 0;
        while (position < source.size()) {
            const auto element = readElement(source, position, source.size());
            const std::uint64_t next = element ? take(*element) : 0;
            isInCluster = isInCluster && next > position;
            position = next > position ? next : resume(position + 1);
        }
        if (!recording.tracksElement && !recording.tracks.empty())
            describeLostTracks(source, secondsPerBlock(), lateTracks, recording);
        guessTimes();
        return std::move(recording);
    }

private:
    /** Returns where to go on; 0 when this is no element of such a file. */
    std::uint64_t take(const Element &element)
    {
        switch (element.id) {
        case MatroskaId::segment:
            segmentBody = element.body();
            return element.body();
        case MatroskaId::cluster:
            // One that has no block is as good as none.
            if (!recording.clusters.empty() && !hasBlocks(recording.clusters.size() - 1))
                recording.clusters.pop_back();
            recording.clusters.push_back({.offset = element.offset, .isTimeGuessed = true});
            clusterEnd = element.isOpen || element.isCut ? source.size() : element.end;
            isInCluster = true;
            return element.body();
        case MatroskaId::clusterTime:
            return takeClusterTime(element);
        case MatroskaId::simpleBlock:
        case MatroskaId::blockGroup:
            return takeBlock(element);
        case MatroskaId::header:
        case MatroskaId::info:
        case MatroskaId::tracks:
        case MatroskaId::chapters:
        case MatroskaId::tags:
        case MatroskaId::attachments:
            return takeDescription(element);
        case MatroskaId::cues:
            return takeCues(element);
        case MatroskaId::seekHead:
        case MatroskaId::filler:
        case MatroskaId::checksum:
        case MatroskaId::silentTracks:
        case MatroskaId::clusterPosition:
        case MatroskaId::previousSize:
            return element.isCut || element.isOpen || !leadsOn(element.end) ? 0 : element.end;
        default:
            return 0;
        }
    }

    /** The file ends there, or goes on with an element that it may have. */
    bool leadsOn(std::uint64_t position) const
    {
        if (position == source.size())
            return true;
        const auto element = readElement(source, position, source.size());
        return element && (contains(topIds, element->id) || contains(clusterIds, element->id));
    }

    bool hasBlocks(std::size_t cluster) const
    {
        return !clusterOfPacket.empty() && clusterOfPacket.back().cluster == cluster;
    }

    std::uint64_t takeClusterTime(const Element &element)
    {
        if (element.bodySize() > 8 || element.isCut || recording.clusters.empty())
            return 0;
        MatroskaCluster &cluster = recording.clusters.back();
        cluster.time = static_cast<std::int64_t>(numberOf(source, element) & timeMask);
        cluster.isTimeGuessed = false;
        return element.end;
    }

    /** The index tells when clusters begin, also such as have lost their header. */
    std::uint64_t takeCues(const Element &element)
    {
        if (element.isCut || element.isOpen || !leadsOn(element.end))
            return 0;
        constexpr std::size_t mostCues = 1U << 20U;
        for (const Element &point : childrenOf(source, element)) {
            if (cues.size() >= mostCues)
                break;
            const auto fields = childrenOf(source, point);
            const auto time = findElement(fields, MatroskaId::cueTime);
            const auto positions = findElement(fields, MatroskaId::cuePositions);
            if (!time || !positions)
                continue;
            const auto place = findElement(childrenOf(source, *positions), MatroskaId::cueCluster);
            if (place && segmentBody)
                cues.emplace(*segmentBody + numberOf(source, *place),
                             static_cast<std::int64_t>(numberOf(source, *time) & timeMask));
        }
        return element.end;
    }

    std::uint64_t takeDescription(const Element &element)
    {
        constexpr std::size_t mostOthers = 64;
        if (element.isCut || element.isOpen || !leadsOn(element.end))
            return 0;
        const auto children = childrenOf(source, element);
        // One that does not fill itself with its children has been overwritten.
        if (children.empty() || children.back().end != element.end || children.back().isCut)
            return element.end;
        if (isDescribed)
            return element.end;
        if (element.id == MatroskaId::header && !recording.header) {
            recording.header = element;
        } else if (element.id == MatroskaId::info && !recording.info) {
            recording.info = element;
            const auto scale = findElement(children, MatroskaId::timestampScale);
            if (const std::uint64_t number = scale ? numberOf(source, *scale) : 0; number > 0)
                recording.timestampScale = std::min<std::uint64_t>(number, 1000000000);
        } else if (element.id == MatroskaId::tracks && !recording.tracks.empty()) {
            lateTracks = lateTracks.value_or(element);
        } else if (element.id == MatroskaId::tracks && !recording.tracksElement) {
            recording.tracksElement = element;
            recording.tracks = readTracks(source, element, recording.timestampScale);
        } else if ((element.id == MatroskaId::chapters || element.id == MatroskaId::tags ||
                    element.id == MatroskaId::attachments) &&
                   recording.others.size() < mostOthers) {
            recording.others.push_back(element);
        }
        return element.end;
    }

    MatroskaTrack *trackOf(std::uint64_t number)
    {
        const auto found =
            std::find_if(recording.tracks.begin(), recording.tracks.end(),
                         [number](const MatroskaTrack &track) { return track.number == number; });
        return found != recording.tracks.end() ? &*found : nullptr;
    }

    /**
     * Where the file has lost the list of its tracks, blocks tell which there are: those in an
     * undamaged cluster, and the very first.
     */
    bool mayBeTrack(std::uint64_t number)
    {
        constexpr std::uint64_t highestNumber = 126;
        if (trackOf(number) != nullptr)
            return true;
        return !recording.tracksElement && number > 0 && number <= highestNumber &&
               (isInCluster || recording.tracks.empty());
    }

    MatroskaTrack &addTrack(std::uint64_t number)
    {
        const auto place = std::lower_bound(
            recording.tracks.begin(), recording.tracks.end(), number,
            [](const MatroskaTrack &track, std::uint64_t one) { return track.number < one; });
        const auto index = place - recording.tracks.begin();
        largestBlocks.resize(recording.tracks.size());
        largestBlocks.insert(largestBlocks.begin() + index, 0);
        for (Belonging &block : clusterOfPacket)
            block.track += block.track >= static_cast<std::uint32_t>(index) ? 1U : 0U;
        MatroskaTrack track;
        track.number = number;
        return *recording.tracks.insert(place, std::move(track));
    }

    /** The element is a block of a known track, by all that can be told from its headers. */
    std::optional<BlockHeader> blockIn(const Element &element)
    {
        if (element.isOpen || element.isCut || element.size() > largestPacket)
            return std::nullopt;
        Element block = element;
        bool isKey = false;
        if (element.id == MatroskaId::blockGroup) {
            const auto children = childrenOf(source, element, mostInGroup);
            const auto inner = findElement(children, MatroskaId::block);
            if (!inner || inner->isCut || children.back().end != element.end)
                return std::nullopt;
            block = *inner;
            isKey = !findElement(children, MatroskaId::reference);
        }
        auto header = readBlockHeader(source, block);
        if (!header || !mayBeTrack(header->track) || header->frames > block.end)
            return std::nullopt;
        header->isKey = header->isKey || isKey;
        return header;
    }

    std::uint64_t takeBlock(const Element &element)
    {
        const auto header = blockIn(element);
        if (!header)
            return 0;
        // Behind the end of the last cluster, this one's header is lost.
        if (recording.clusters.empty() || element.offset >= clusterEnd) {
            recording.clusters.push_back({.offset = element.offset, .isTimeGuessed = true});
            clusterEnd = source.size();
        }
        // The header of its cluster is lost, and what follows it is not.
        isInCluster = isInCluster || recording.tracks.empty();
        MatroskaTrack *known = trackOf(header->track);
        MatroskaTrack &track = known != nullptr ? *known : addTrack(header->track);
        // Where the next one is not in its place, the size may be wrong.
        if (!leadsOn(element.end) && element.size() > 2 * largestSeen(track))
            return 0;
        if (clusterOfPacket.size() >= mostPackets(source.size()))
            return element.end;
        Packet packet = {.time = header->time, .size = static_cast<std::uint32_t>(element.size())};
        packet.setOffset(element.offset);
        packet.setKey(header->isKey);
        track.hasLacing = track.hasLacing || header->hasLacing;
        track.packets.push_back(packet);
        clusterOfPacket.push_back({static_cast<std::uint32_t>(recording.clusters.size() - 1),
                                   static_cast<std::uint32_t>(&track - recording.tracks.data())});
        seen(track) = std::max(seen(track), element.size());
        return element.end;
    }

    std::uint64_t &seen(const MatroskaTrack &track)
    {
        largestBlocks.resize(recording.tracks.size());
        return largestBlocks[static_cast<std::size_t>(&track - recording.tracks.data())];
    }
    std::uint64_t largestSeen(const MatroskaTrack &track) { return seen(track); }

    /** The next cluster, or the next block that others follow. */
    std::uint64_t resume(std::uint64_t from)
    {
        Bytes window(searchWindow + searchOverlap);
        for (std::uint64_t start = from; start < source.size(); start += searchWindow) {
            const std::size_t size = source.read(start, window.data(), window.size());
            for (std::size_t i = 0; i < size && i < searchWindow; ++i) {
                if (mayBegin(window[i]) && isTrustworthy(start + i))
                    return start + i;
            }
        }
        return source.size();
    }

    static bool mayBegin(std::uint8_t byte)
    {
        return (byte >= 0x10 && byte <= 0x1f) || byte == MatroskaId::simpleBlock ||
               byte == MatroskaId::blockGroup;
    }

    bool isTrustworthy(std::uint64_t position)
    {
        constexpr int blocksToFollow = 2;
        constexpr int mostFollowed = 1 << 18;
        std::uint64_t next = position;
        for (int i = 0; i <= blocksToFollow; ++i) {
            const auto element = readElement(source, next, source.size());
            if (!element)
                return i > 0 && next == source.size();
            if (contains(topIds, element->id)) {
                // What follows such an element's header belongs to it.
                const bool hasInside =
                    element->id == MatroskaId::cluster || element->id == MatroskaId::segment;
                return leadsOn(hasInside ? element->body() : element->end);
            }
            const bool isBlock =
                element->id == MatroskaId::simpleBlock || element->id == MatroskaId::blockGroup;
            if ((isBlock && !blockIn(*element)) || (!isBlock && i == 0) ||
                !contains(clusterIds, element->id))
                return false;
            // What is made up may look like a block at every place: each leads to another window.
            if (i == 0 && ++followed > mostFollowed)
                return false;
            next = element->end;
        }
        return true;
    }

    /** When a cluster begins by the index, if it is the only one in this stretch of the file. */
    std::optional<std::int64_t> indexedTime(std::size_t number) const
    {
        const std::uint64_t from = number > 0 ? recording.clusters[number - 1].offset + 1 : 0;
        const auto first = cues.lower_bound(from);
        const auto behind = cues.upper_bound(recording.clusters[number].offset);
        // Several may name one cluster: the first of them its beginning.
        if (first == behind || first->first != std::prev(behind)->first)
            return std::nullopt;
        return first->second;
    }

    /** Times, from the cluster's, of one track's blocks in it. */
    struct Extent
    {
        std::int64_t first = std::numeric_limits<std::int64_t>::max();
        std::int64_t last = std::numeric_limits<std::int64_t>::min();
        std::int64_t count = 0;

        void add(std::int64_t time)
        {
            first = std::min(first, time);
            last = std::max(last, time);
            ++count;
        }
    };

    using Extents = std::vector<Extent>;

    /** Of all tracks in clusters whose time is to be measured, and in those behind them. */
    std::map<std::size_t, Extents> extentsForTimes() const
    {
        constexpr std::size_t mostMeasured = 64;
        std::map<std::size_t, Extents> extents;
        const auto &clusters = recording.clusters;
        for (std::size_t i = 0; i + 1 < clusters.size() && extents.size() < mostMeasured; ++i) {
            if (clusters[i].isTimeGuessed && !clusters[i + 1].isTimeGuessed) {
                extents.emplace(i, recording.tracks.size());
                extents.emplace(i + 1, recording.tracks.size());
            }
        }
        std::vector<std::size_t> nextOfTrack(recording.tracks.size());
        for (const Belonging &block : clusterOfPacket) {
            const Packet &packet =
                recording.tracks[block.track].packets[nextOfTrack[block.track]++];
            if (const auto found = extents.find(block.cluster); found != extents.end())
                found->second[block.track].add(packet.time);
        }
        return extents;
    }

    /** From one block of each track to the next, in the mean, as the clusters have them. */
    std::vector<double> secondsPerBlock() const
    {
        std::vector<Extent> extents(recording.tracks.size());
        std::vector<std::int64_t> times(recording.tracks.size());
        std::vector<std::int64_t> steps(recording.tracks.size());
        std::vector<std::size_t> nextOfTrack(recording.tracks.size());
        const auto addExtents = [&] {
            for (std::size_t i = 0; i < extents.size(); ++i) {
                if (extents[i].count > 1) {
                    times[i] += extents[i].last - extents[i].first;
                    steps[i] += extents[i].count - 1;
                }
                extents[i] = {};
            }
        };
        std::uint32_t cluster = 0;
        for (const Belonging &block : clusterOfPacket) {
            if (block.cluster != cluster)
                addExtents();
            cluster = block.cluster;
            extents[block.track].add(
                recording.tracks[block.track].packets[nextOfTrack[block.track]++].time);
        }
        addExtents();
        std::vector<double> seconds;
        for (std::size_t i = 0; i < times.size(); ++i)
            seconds.push_back(steps[i] > 0
                                  ? static_cast<double>(times[i]) / static_cast<double>(steps[i]) /
                                        static_cast<double>(timescaleOf(recording.timestampScale))
                                  : 0);
        return seconds;
    }

    /** When a cluster begins so that its sound ends where that of the next one begins. */
    std::optional<std::int64_t> timeBeforeNext(std::size_t number,
                                               const std::map<std::size_t, Extents> &extents) const
    {
        constexpr std::int64_t leastToMeasure = 8;
        const auto ofCluster = extents.find(number);
        const auto ofNext = extents.find(number + 1);
        if (ofCluster == extents.end() || ofNext == extents.end() ||
            recording.clusters[number + 1].isTimeGuessed)
            return std::nullopt;
        for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
            const Extent &own = ofCluster->second[i];
            const Extent &next = ofNext->second[i];
            if (recording.tracks[i].kind != TrackKind::Audio || own.count == 0 ||
                next.count < leastToMeasure)
                continue;
            const std::int64_t step =
                (next.last - next.first + (next.count - 1) / 2) / (next.count - 1);
            return recording.clusters[number + 1].time + next.first - step - own.last;
        }
        return std::nullopt;
    }

    /**
     * Blocks count from their cluster's time. Where that is lost, the sound of the next cluster
     * tells it, or the index; else the first of its blocks follows on the last one of the same
     * track before it.
     */
    void guessTimes()
    {
        const auto extents = extentsForTimes();
        for (std::size_t i = 0; i < recording.clusters.size(); ++i) {
            MatroskaCluster &cluster = recording.clusters[i];
            if (!cluster.isTimeGuessed)
                continue;
            auto time = timeBeforeNext(i, extents);
            if (!time)
                time = indexedTime(i);
            cluster.time = std::max<std::int64_t>(time.value_or(cluster.time), 0);
        }
        std::vector<std::size_t> nextOfTrack(recording.tracks.size());
        std::vector<std::optional<std::int64_t>> latest(recording.tracks.size());
        for (const auto &[clusterIndex, trackIndex] : clusterOfPacket) {
            MatroskaTrack &track = recording.tracks[trackIndex];
            Packet &packet = track.packets[nextOfTrack[trackIndex]++];
            MatroskaCluster &cluster = recording.clusters[clusterIndex];
            std::optional<std::int64_t> &before = latest[trackIndex];
            // Before the first packet of all, nothing need be lost.
            if (cluster.isTimeGuessed && cluster.time == 0 && before) {
                const std::int64_t step = std::max<std::int64_t>(track.lastDuration, 1);
                cluster.time = std::max<std::int64_t>(*before + step - packet.time, 0);
            }
            packet.time += cluster.time;
            before = std::max(before.value_or(packet.time), packet.time);
        }
    }

    struct Belonging
    {
        std::uint32_t cluster;
        std::uint32_t track;
    };

    const SourceFile &source;
    MatroskaRecording recording;
    /** Its tracks are known beforehand, from another file. */
    bool isDescribed = false;
    std::uint64_t clusterEnd = 0;
    /** Nothing was skipped since the beginning of the cluster. */
    bool isInCluster = false;
    /** A list of tracks that came when blocks had been found already. */
    std::optional<Element> lateTracks;
    /** What places in the file count from. */
    std::optional<std::uint64_t> segmentBody;
    /** Times of the index by the places of their clusters. */
    std::multimap<std::uint64_t, std::int64_t> cues;
    /** Of all blocks, in the order of the file. */
    std::vector<Belonging> clusterOfPacket;
    std::vector<std::uint64_t> largestBlocks;
    /** Places at which something that looked like a block was followed to the next. */
    int followed = 0;
};

std::optional<MatroskaRecording> withPackets(MatroskaRecording recording)
{
    const bool hasPackets =
        std::any_of(recording.tracks.begin(), recording.tracks.end(),
                    [](const MatroskaTrack &track) { return !track.packets.empty(); });
    return hasPackets ? std::optional(std::move(recording)) : std::nullopt;
}

} // namespace

bool looksLikeMatroska(const SourceFile &source)
{
    const ByteView bytes = source.view(0, 4);
    return bytes.size() == 4 && be32(bytes.data()) == MatroskaId::header;
}

std::optional<MatroskaRecording> readMatroska(const SourceFile &source)
{
    return withPackets(Walk(source).run());
}

std::optional<MatroskaRecording> readMatroskaLike(const SourceFile &source,
                                                  const SourceFile &sample)
{
    const MatroskaRecording ofSample = Walk(sample).run();
    // What else the sample says, such as its title, is of itself.
    MatroskaRecording described;
    described.header = ofSample.header;
    described.tracksElement = ofSample.tracksElement;
    described.timestampScale = ofSample.timestampScale;
    described.tracks = ofSample.tracks;
    for (MatroskaTrack &track : described.tracks) {
        track.packets.clear();
        track.hasLacing = false;
    }
    return withPackets(Walk(source, std::move(described)).run());
}
