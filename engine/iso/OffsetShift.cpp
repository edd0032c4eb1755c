#include "engine/iso/OffsetShift.h"

#include "engine/iso/PacketLook.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <array>
#include <set>

namespace {

// Packets of a track that are looked at to judge a shift.
constexpr std::size_t samplesToTest = 64;

// Parts of these that must look right: where the index is right, and where another place is taken
// for the right one.
constexpr double enoughToTrust = 0.5;
constexpr double enoughToShift = 0.9;

// How far from where the index says it is the media is searched for.
constexpr std::uint64_t searchReach = 64ULL << 20U;

using PacketContent::isNalHeader;
using PacketContent::lengthField;

struct Score
{
    std::size_t right = 0;
    std::size_t tested = 0;

    double part() const
    {
        return tested == 0 ? 0 : static_cast<double>(right) / static_cast<double>(tested);
    }
};

Score scoreOf(const SourceFile &source, const IsoTrack &track, std::int64_t shift)
{
    Score score;
    const std::size_t step = std::max<std::size_t>(track.packets.size() / samplesToTest, 1);
    for (std::size_t i = 0; i < track.packets.size(); i += step) {
        const Packet &packet = track.packets[i];
        const std::int64_t place = static_cast<std::int64_t>(packet.offset) + shift;
        const bool isThere =
            place >= 0 && static_cast<std::uint64_t>(place) + packet.size <= source.size();
        // A cut file lacks packets: that says nothing of the others.
        if (!isThere && shift == 0)
            continue;
        const Look look =
            isThere ? lookAt(source, track, static_cast<std::uint64_t>(place), packet.size)
                    : Look::Wrong;
        score.tested += look != Look::Unknown ? 1 : 0;
        score.right += look == Look::Right ? 1 : 0;
    }
    return score;
}

/** The worst of the tracks that can be judged; none when there is none. */
std::optional<double> partRight(const SourceFile &source, const IsoRecording &recording,
                                std::int64_t shift)
{
    std::optional<double> least;
    for (const IsoTrack &track : recording.tracks) {
        const Score score = scoreOf(source, track, shift);
        if (score.tested > 0)
            least = std::min(least.value_or(1), score.part());
    }
    return least;
}

/** Shifts that follow from where the media begins and ends, and from what writers forget. */
std::set<std::int64_t> likelyShifts(const SourceFile &source, const IsoStructure &structure,
                                    const IsoRecording &recording)
{
    std::uint64_t first = source.size();
    std::uint64_t last = 0;
    for (const IsoTrack &track : recording.tracks) {
        for (const Packet &packet : track.packets) {
            first = std::min<std::uint64_t>(first, packet.offset);
            last = std::max<std::uint64_t>(last, packet.end());
        }
    }
    std::set<std::int64_t> shifts;
    const auto distance = [](std::uint64_t to, std::uint64_t from) {
        return static_cast<std::int64_t>(to) - static_cast<std::int64_t>(from);
    };
    for (const Box &media : structure.media) {
        shifts.insert(distance(media.body(), first));
        shifts.insert(distance(media.end, last));
    }
    const std::int64_t index = distance(recording.index.end, recording.index.offset);
    for (const std::int64_t size : {index, std::int64_t{8}, std::int64_t{16}, std::int64_t{32}}) {
        shifts.insert(size);
        shifts.insert(-size);
    }
    shifts.erase(0);
    return shifts;
}

/** Where a packet of this size stands, near to where it should; its shifts, nearest place first. */
std::vector<std::int64_t> searchPacket(const SourceFile &source, const IsoTrack &track,
                                       const Packet &packet)
{
    constexpr std::size_t mostFound = 16;
    constexpr std::size_t windowSize = 1U << 20U;
    std::vector<std::int64_t> shifts;
    const std::uint64_t from = packet.offset - std::min<std::uint64_t>(packet.offset, searchReach);
    const std::uint64_t to =
        std::min(source.size(), static_cast<std::uint64_t>(packet.offset) + searchReach);
    const unsigned width = track.nalLengthSize;
    // Bytes that are made up may look like the beginning of a chain at every place.
    constexpr int mostTried = 1 << 18;
    int tried = 0;
    Bytes window(windowSize + 8);
    for (std::uint64_t start = from; start < to && shifts.size() < mostFound; start += windowSize) {
        const std::size_t size = source.read(start, window.data(), window.size());
        for (std::size_t i = 0; i + width < size && i < windowSize; ++i) {
            const std::uint64_t length = lengthField(&window[i], width);
            if (length == 0 || length + width > packet.size ||
                !isNalHeader(window[i + width], track.isHevc) || ++tried > mostTried ||
                !isNalChain(source, track, start + i, packet.size))
                continue;
            shifts.push_back(static_cast<std::int64_t>(start + i) -
                             static_cast<std::int64_t>(packet.offset));
        }
    }
    std::sort(shifts.begin(), shifts.end(),
              [](std::int64_t a, std::int64_t b) { return std::abs(a) < std::abs(b); });
    return shifts;
}

const IsoTrack *searchableTrack(const IsoRecording &recording)
{
    // With lengths of one byte, anything looks like a chain.
    constexpr unsigned leastWidth = 3;
    for (const IsoTrack &track : recording.tracks) {
        if (track.nalLengthSize >= leastWidth && !track.packets.empty())
            return &track;
    }
    return nullptr;
}

} // namespace

std::int64_t findOffsetShift(const SourceFile &source, const IsoStructure &structure,
                             const IsoRecording &recording)
{
    const auto asStated = partRight(source, recording, 0);
    if (!asStated || *asStated >= enoughToTrust)
        return 0;
    const auto isRight = [&](std::int64_t shift) {
        return partRight(source, recording, shift).value_or(0) >= enoughToShift;
    };
    for (const std::int64_t shift : likelyShifts(source, structure, recording)) {
        if (isRight(shift))
            return shift;
    }
    const IsoTrack *track = searchableTrack(recording);
    if (track == nullptr)
        return 0;
    // The first packet's bytes may be lost; a large one looks like no other.
    const auto largest =
        std::max_element(track->packets.begin(), track->packets.end(),
                         [](const Packet &a, const Packet &b) { return a.size < b.size; });
    for (const Packet &packet : {track->packets.front(), *largest}) {
        for (const std::int64_t shift : searchPacket(source, *track, packet)) {
            if (isRight(shift))
                return shift;
        }
    }
    return 0;
}
