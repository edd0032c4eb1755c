#include "engine/advanced/MediaWalk.h"

#include "engine/advanced/PictureOrder.h"
#include "engine/advanced/RunReader.h"
#include "engine/log/LogLine.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>

namespace {

constexpr std::size_t searchStep = 65536;

// Places that look like pictures, tried for the one that ends a run of sound exactly.
constexpr int mostCandidates = 4;

// Runs of sound may be so much longer than the sample's.
constexpr std::uint64_t moreOfRun = 65536;

/** The next place where something looks like a picture, and that picture. */
template <typename Accepts>
std::optional<std::uint64_t> search(const SampleProfile &sample, MediaWindow &media,
                                    std::uint64_t from, std::uint64_t to, Accepts accepts)
{
    constexpr std::size_t startSize = VideoRecogniser::startSize;
    for (std::uint64_t place = from; place < to;) {
        const ByteView bytes = media.view(place, searchStep + startSize);
        if (bytes.size() < startSize)
            return std::nullopt;
        std::size_t i = 0;
        const std::size_t count = std::min<std::uint64_t>(bytes.size() - startSize + 1, to - place);
        while (i < count && !sample.pictures->mayBegin(&bytes[i]))
            ++i;
        place += i;
        if (i == count)
            continue;
        const auto picture = sample.pictures->pictureAt(media, place);
        if (picture && accepts(place, *picture))
            return place;
        ++place;
    }
    return std::nullopt;
}

class Walk
{
public:
    Walk(SampleProfile &ofSample, const SourceFile &damaged, std::uint64_t to)
        : sample(ofSample), media(damaged), runs(ofSample, media)
    {
        media.setEnd(to);
        const IsoTrack &track = sample.recording.tracks[sample.video];
        if (track.nalLengthSize > 0)
            kind = {.nalLengthSize = track.nalLengthSize,
                    .isHevc = track.isHevc,
                    .impossibleZeros = PacketContent::zerosInPicture};
        result.packets.resize(sample.tracks.size());
    }

    WalkedMedia run(std::uint64_t from)
    {
        RunReading leading;
        std::uint64_t place = runs.readLeading(from, leading);
        addRun(leading, from, place);
        while (place < media.end() && !isMisfit(result)) {
            media.keepFrom(place);
            const auto picture = sample.pictures->pictureAt(media, place);
            place = picture ? takePicture(place, *picture) : takeRun(place);
            tellProgress(from, place);
        }
        result.walked = media.end() - from;
        return std::move(result);
    }

private:
    std::uint64_t takePicture(std::uint64_t place, const FoundPicture &picture)
    {
        const ByteView bytes = media.view(place, static_cast<std::size_t>(picture.size));
        auto &packets = result.packets[sample.video];
        Packet packet = {.size = static_cast<std::uint32_t>(picture.size)};
        packet.setOffset(place);
        packet.setKey(picture.isKey);
        const bool isBroken = !picture.isComplete || bytes.size() < picture.size ||
                              PacketContent::isOverwritten(bytes, kind);
        packet.setLost(isBroken);
        if (picture.slice.beginsSequence || packets.empty())
            result.sequences.push_back(packets.size());
        packet.compositionOffset = order.next(picture.slice);
        packets.push_back(packet);
        if (!isBroken)
            sample.pictures->take(bytes);
        return place + picture.size;
    }

    /** What stands from here to the next picture. Returns where that begins. */
    std::uint64_t takeRun(std::uint64_t place)
    {
        std::optional<RunReading> first;
        std::uint64_t firstEnd = media.end();
        std::uint64_t from = place;
        // Plain sound has no marks, but, mostly, lengths that others do not have by chance.
        constexpr std::uint64_t rareLength = 256;
        const int candidates = sample.aac || sample.plainGrain >= rareLength ? mostCandidates : 1;
        for (int i = 0; i < candidates; ++i) {
            const auto next = findPicture(sample, media, from);
            const std::uint64_t end = next.value_or(media.end());
            RunReading reading = runs.read(place, end, next.has_value());
            if (reading.isExact() || !first) {
                firstEnd = end;
                first = std::move(reading);
            }
            if (first->isExact() || !next || end - place > 2 * sample.largestRun + moreOfRun)
                break;
            from = end + 1;
        }
        ++(first->isExact() ? result.goodRuns : result.badRuns);
        addRun(*first, place, firstEnd);
        return firstEnd;
    }

    void addRun(const RunReading &reading, std::uint64_t from, std::uint64_t to)
    {
        for (std::size_t i = 0; i < reading.parts.size(); ++i) {
            if (i == reading.partsBefore && reading.unknown > 0)
                addGap(from, to);
            const RunReading::Part &part = reading.parts[i];
            Packet packet = {.isKey = 1, .size = part.size};
            packet.setOffset(part.offset);
            result.packets[part.track].push_back(packet);
        }
        if (reading.partsBefore == reading.parts.size() && reading.unknown > 0)
            addGap(from, to);
        result.unshared += reading.unshared;
        result.unknown += reading.unknown;
    }

    void addGap(std::uint64_t from, std::uint64_t to)
    {
        WalkGap gap = {.from = from, .to = to};
        for (const auto &packets : result.packets)
            gap.packetsBefore.push_back(packets.size());
        result.gaps.push_back(std::move(gap));
        order.restart();
    }

    void tellProgress(std::uint64_t from, std::uint64_t place)
    {
        constexpr std::uint64_t steps = 10;
        const std::uint64_t step = (place - from) * steps / (media.end() - from);
        if (step > lastStep)
            logLine(TarnLogInfo, "walked " + std::to_string(step * 100 / steps) + " %");
        lastStep = std::max(lastStep, step);
    }

    SampleProfile &sample;
    MediaWindow media;
    RunReader runs;
    PacketContent::Kind kind;
    PictureOrder order;
    WalkedMedia result;
    std::uint64_t lastStep = 0;
};

} // namespace

std::optional<std::uint64_t> findPicture(const SampleProfile &sample, MediaWindow &media,
                                         std::uint64_t from)
{
    const auto isCertain = [&](std::uint64_t place, const FoundPicture &picture) {
        if (!picture.isComplete)
            return false;
        const std::uint64_t end = place + picture.size;
        if (end >= media.end() || sample.pictures->pictureAt(media, end))
            return true;
        // Sound follows, and then the next picture.
        const std::uint64_t reach = end + 2 * sample.largestRun + moreOfRun;
        if (reach >= media.end())
            return true;
        return search(sample, media, end, reach,
                      [](std::uint64_t, const FoundPicture &) { return true; })
            .has_value();
    };
    return search(sample, media, from, media.end(), isCertain);
}

bool isMisfit(const WalkedMedia &walked)
{
    // Damage hits some places; what fails nearly everywhere is of another kind.
    constexpr std::size_t fewest = 16;
    return walked.badRuns >= fewest && walked.goodRuns < walked.badRuns;
}

WalkedMedia walkMedia(SampleProfile &sample, const SourceFile &damaged, std::uint64_t from,
                      std::uint64_t to)
{
    return Walk(sample, damaged, to).run(from);
}
