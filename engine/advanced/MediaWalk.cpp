#include "engine/advanced/MediaWalk.h"

#include "engine/advanced/PictureFinder.h"
#include "engine/advanced/PictureOrder.h"
#include "engine/advanced/RunReader.h"
#include "engine/advanced/SpoiltPictures.h"
#include "engine/log/LogLine.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>

namespace {

// Places that look like pictures, tried for the one that ends a run of sound exactly.
constexpr int mostCandidates = 4;

// Runs of sound may be so much longer than the sample's.
constexpr std::uint64_t moreOfRun = 65536;

class Walk
{
public:
    Walk(SampleProfile &ofSample, const SourceFile &damaged, std::uint64_t to,
         const std::stop_token &whenToStop)
        : sample(ofSample),
          media(damaged),
          pictures(ofSample, media, whenToStop),
          runs(ofSample, media),
          spoilt(ofSample, damaged),
          stop(whenToStop)
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
        start = from;
        RunReading leading;
        std::uint64_t place = runs.readLeading(from, leading);
        addRun(leading, from, place);
        while (place < media.end() && !isMisfit(result) && !stop.stop_requested()) {
            media.keepFrom(place);
            const auto picture = pictures.at(place);
            place = picture ? takePicture(place, *picture) : takeRun(place);
            tellProgress(place);
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
        if (picture.slice.beginsSequence)
            result.sequences.push_back(packets.size());
        packet.compositionOffset = order.next(picture.slice);
        add(sample.video, packet);
        if (!isBroken && sample.pictures->take(bytes))
            pictures.forget();
        return place + picture.size;
    }

    /** What stands from here to the next picture. Returns where that begins. */
    std::uint64_t takeRun(std::uint64_t place)
    {
        RunReading first;
        std::optional<std::uint64_t> firstEnd;
        bool isEnded = false;
        std::uint64_t from = place;
        // Plain sound has no marks, but, mostly, lengths that others do not have by chance.
        constexpr std::uint64_t rareLength = 256;
        const int candidates = sample.aac || sample.plainGrain >= rareLength ? mostCandidates : 1;
        for (int i = 0; i < candidates; ++i) {
            const auto next = pictures.next(from);
            const std::uint64_t end = next.value_or(media.end());
            RunReading reading = runs.read(place, end, next.has_value(), RunReader::Effort::Little);
            const bool isTaken = isExplained(reading);
            if (isTaken || !firstEnd) {
                firstEnd = end;
                isEnded = next.has_value();
                first = std::move(reading);
            }
            if (isTaken || !next || end - place > 2 * sample.largestRun + moreOfRun)
                break;
            from = end + 1;
        }
        if (!isExplained(first) && !readToLikely(place, first, *firstEnd)) {
            first = runs.read(place, *firstEnd, isEnded, RunReader::Effort::Much);
            readBesideUntold(place, first, *firstEnd);
        }
        ++(isExplained(first) ? result.goodRuns : result.badRuns);
        // What follows a picture is where it ought to be when its length leads there.
        auto &before = result.packets[sample.video];
        if (first.unknown > 0 && spoilt.isLastSpoilt(before))
            before.back().setLost(true);
        addRun(first, place, *firstEnd);
        return *firstEnd;
    }

    /**
     * A picture before a damaged spot is not certain, since nothing that is known follows it. Sound
     * that leads exactly to it tells that it is one.
     */
    bool readToLikely(std::uint64_t place, RunReading &found, std::uint64_t &end)
    {
        const std::uint64_t to = std::min(end, place + 2 * sample.largestRun);
        auto next = pictures.likely(place, to);
        for (int i = 0; i < mostCandidates && next; ++i) {
            RunReading reading = runs.read(place, *next, true, RunReader::Effort::Little);
            if (isExplained(reading) && !reading.parts.empty()) {
                found = std::move(reading);
                end = *next;
                return true;
            }
            next = pictures.likely(*next + 1, to);
        }
        return false;
    }

    /**
     * What looks like a picture may be a part of sound that nothing tells. Then there is less
     * before it of the sound that can be told.
     */
    void readBesideUntold(std::uint64_t place, RunReading &found, std::uint64_t &end)
    {
        if (!sample.hasUntoldSound())
            return;
        const std::uint64_t to = place + sample.largestRun + sample.largestRun / 4;
        auto next = pictures.next(end + 1);
        for (int i = 0; i < mostCandidates && next && *next <= to; ++i) {
            RunReading reading = runs.read(place, *next, true, RunReader::Effort::Much);
            if (isExplained(reading) && reading.parts.size() > found.parts.size()) {
                found = std::move(reading);
                end = *next;
            }
            next = pictures.next(*next + 1);
        }
    }

    /** Where the sample's tracks cannot be told apart at all, this run's cannot either. */
    bool isExplained(const RunReading &reading) const
    {
        return reading.isExact() ||
               (reading.unknown == 0 && sample.share && !sample.share->isClear());
    }

    void addRun(const RunReading &reading, std::uint64_t from, std::uint64_t to)
    {
        const bool hasGap = !isExplained(reading);
        for (std::size_t i = 0; i < reading.parts.size(); ++i) {
            if (i == reading.partsBefore && hasGap)
                addGap(reading, from, to);
            const RunReading::Part &part = reading.parts[i];
            Packet packet = {.isKey = 1, .size = part.size};
            packet.setOffset(part.offset);
            add(part.track, packet);
        }
        if (reading.partsBefore == reading.parts.size() && hasGap)
            addGap(reading, from, to);
        result.unshared += reading.unshared;
        result.unknown += reading.unknown;
    }

    /**
     * There may be millions of packets. A vector that doubles holds them twice while it moves them;
     * room that is not used yet costs nothing, so there is one for what is still to come.
     */
    void add(std::size_t track, const Packet &packet)
    {
        constexpr std::size_t few = 16384;
        constexpr double mostGrowth = 4;
        constexpr double leastGrowth = 1.25;
        auto &packets = result.packets[track];
        if (packets.size() == packets.capacity() && packets.size() >= few) {
            const auto size = static_cast<double>(media.end() - start);
            const auto done = static_cast<double>(packet.offset - start + 1);
            const double growth = std::clamp(leastGrowth * size / done, leastGrowth, mostGrowth);
            packets.reserve(static_cast<std::size_t>(static_cast<double>(packets.size()) * growth));
        }
        packets.push_back(packet);
    }

    void addGap(const RunReading &reading, std::uint64_t from, std::uint64_t to)
    {
        WalkGap gap = {.from = from, .to = to, .unknown = reading.unknown};
        for (const auto &packets : result.packets)
            gap.packetsBefore.push_back(packets.size());
        result.gaps.push_back(std::move(gap));
        order.restart();
    }

    void tellProgress(std::uint64_t place)
    {
        constexpr std::uint64_t steps = 10;
        const std::uint64_t step = (place - start) * steps / (media.end() - start);
        if (step > lastStep)
            logLine(TarnLogInfo, "walked " + std::to_string(step * 100 / steps) + " %");
        lastStep = std::max(lastStep, step);
    }

    SampleProfile &sample;
    MediaWindow media;
    PictureFinder pictures;
    RunReader runs;
    SpoiltPictures spoilt;
    std::stop_token stop;
    PacketContent::Kind kind;
    PictureOrder order;
    WalkedMedia result;
    std::uint64_t start = 0;
    std::uint64_t lastStep = 0;
};

} // namespace

bool isMisfit(const WalkedMedia &walked)
{
    // Damage hits some places; what fails nearly everywhere is of another kind.
    constexpr std::size_t fewest = 16;
    return walked.badRuns >= fewest && walked.goodRuns < walked.badRuns;
}

WalkedMedia walkMedia(SampleProfile &sample, const SourceFile &damaged, std::uint64_t from,
                      std::uint64_t to, const std::stop_token &stop)
{
    return Walk(sample, damaged, to, stop).run(from);
}
