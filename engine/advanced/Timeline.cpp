#include "engine/advanced/Timeline.h"

#include "engine/advanced/PicturePlaces.h"
#include "engine/log/LogLine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace {

// Among so many pictures is the one that is shown first; and no other is further from its place.
constexpr std::size_t nearFirst = 32;
// More that is missing at one place is one span.
constexpr std::int64_t mostMarked = 20000;

/** Numbers of what is missing at each gap, of one track. */
using Missing = std::vector<std::int64_t>;

class Timing
{
public:
    Timing(const SampleProfile &ofSample, WalkedMedia &ofWalk)
        : sample(ofSample), walked(ofWalk), rows(ofSample, ofWalk)
    {
    }

    void run(IsoRecording &recording)
    {
        for (std::size_t i = 0; i < recording.tracks.size(); ++i)
            missing.emplace_back(walked.gaps.size(), 0);
        const auto sound = firstSound();
        if (sample.pictureAfterSound.isKnown)
            clock = sound;
        orderPictures(clock ? std::nullopt : sound);
        if (clock) {
            timeOthers(*clock);
            timePicturesBySound(*clock);
        } else {
            timePicturesEvenly();
        }
        for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
            if (i != sample.video && clock != i)
                timeOthers(i);
        }
        beginAtZero();
        if (!pictures().empty())
            videoEnd = pictures().back().time + sample.tracks[sample.video].duration;
        for (std::size_t i = 0; i < recording.tracks.size(); ++i)
            place(recording.tracks[i], i);
    }

private:
    std::vector<Packet> &pictures() { return walked.packets[sample.video]; }

    /** The first track of sound of which something is left. */
    std::optional<std::size_t> firstSound() const
    {
        for (std::size_t i = 0; i < sample.tracks.size(); ++i) {
            const Coding coding = sample.tracks[i].coding;
            if ((coding == Coding::Aac || coding == Coding::Plain) && !walked.packets[i].empty())
                return i;
        }
        return std::nullopt;
    }

    /**
     * Pictures' places in the order of decoding, and how many places later they are shown.
     *
     * @param sound what is held against the pictures
     */
    void orderPictures(std::optional<std::size_t> sound)
    {
        const PicturePlaces places = placePictures(sample, walked, sound);
        auto &packets = pictures();
        std::int64_t number = 0;
        auto nextKey = walked.sequences.begin();
        for (std::size_t row = 0; row < rows.count(); ++row) {
            const std::size_t first = rows.first(sample.video, row);
            const std::size_t end = rows.end(sample.video, row);
            if (row > 0 && first < end) {
                missing[sample.video][row - 1] = places.missing[row];
                number += places.missing[row];
                logLine(TarnLogInfo, "gap " + std::to_string(row - 1) + ": " +
                                         std::to_string(places.missing[row]) +
                                         " pictures missing before number " +
                                         std::to_string(number));
            }
            std::int64_t base = places.base[row];
            for (std::size_t i = first; i < end; ++i, ++number) {
                if (nextKey != walked.sequences.end() && *nextKey == i) {
                    base = number;
                    ++nextKey;
                }
                Packet &packet = packets[i];
                packet.time = number;
                packet.compositionOffset =
                    sample.tellsOrder
                        ? fitted(base + packet.compositionOffset / sample.orderStep - number)
                        : 0;
            }
        }
    }

    /** From places to times, where all pictures last equally long. */
    void timePicturesEvenly()
    {
        const std::int64_t duration = sample.tracks[sample.video].duration;
        for (Packet &packet : pictures()) {
            packet.time *= duration;
            packet.compositionOffset =
                fitted(packet.compositionOffset * duration + sample.orderDelay);
        }
    }

    static std::int32_t fitted(std::int64_t offset)
    {
        constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
        return static_cast<std::int32_t>(std::clamp(offset, -most, most));
    }

    /** From places to times by the sound beside the pictures, which goes on evenly. */
    void timePicturesBySound(std::size_t sound)
    {
        auto &packets = pictures();
        std::vector<std::int64_t> times;
        times.reserve(packets.size());
        SoundBeside beside = {.track = sound};
        for (std::size_t i = 0; i < packets.size(); ++i) {
            while (i == rows.end(sample.video, beside.row))
                ++beside.row;
            // Where pictures are missing, their places stay empty.
            const std::int64_t places =
                std::max<std::int64_t>(packets[i].time - static_cast<std::int64_t>(times.size()),
                                       0) +
                1;
            const std::int64_t last = times.empty() ? -sample.tick : times.back();
            const std::int64_t at =
                timeBySound(ticksBySound(beside, packets[i].offset, 0), last, places);
            for (std::int64_t place = 1; place <= places; ++place)
                times.push_back(last + (at - last) / sample.tick * place / places * sample.tick);
        }
        if (times.empty())
            return;
        const double afterLast = ticksAfterLast(sound, times.back());
        const auto count = static_cast<std::int64_t>(times.size());
        for (Packet &packet : packets) {
            const std::int64_t number = packet.time;
            packet.time = times[static_cast<std::size_t>(number)];
            const std::int64_t shown =
                number + packet.compositionOffset + static_cast<std::int64_t>(sample.delayedBy);
            const std::int64_t behind = std::min<std::int64_t>(shown - count + 1, nearFirst);
            const std::int64_t at =
                behind <= 0 ? times[static_cast<std::size_t>(std::max<std::int64_t>(shown, 0))]
                            : times.back() + std::llround(static_cast<double>(behind) * afterLast) *
                                                 sample.tick;
            packet.compositionOffset = fitted(at - packet.time);
        }
    }

    /**
     * How far apart pictures are shown that wait for none to be decoded any more, in ticks: they
     * share what sound there is behind the last.
     *
     * @param last when the last picture is decoded
     */
    double ticksAfterLast(std::size_t sound, std::int64_t last) const
    {
        const Packet &end = walked.packets[sound].back();
        const double length = static_cast<double>(end.time + rows.unitsOf(sound, end) *
                                                                 sample.tracks[sound].duration) /
                                  static_cast<double>(timescaleOf(sound)) *
                                  static_cast<double>(timescaleOf(sample.video)) -
                              static_cast<double>(last);
        return std::max(length / static_cast<double>(sample.delayedBy + 1),
                        static_cast<double>(sample.tracks[sample.video].duration)) /
               static_cast<double>(sample.tick);
    }

    /** What stands beside pictures that are asked for one after another. */
    struct SoundBeside
    {
        std::size_t track = 0;
        std::size_t row = 0;
        /** The sound behind the picture. */
        std::size_t next = 0;
    };

    /** When a picture may be decoded. */
    struct Ticks
    {
        double earliest = -1e18;
        double latest = 1e18;

        bool isPossible() const { return earliest <= latest; }
    };

    /**
     * @param beside goes on to the picture, which is in its row
     * @param later by so much is the sound of this row, in its track's units
     */
    Ticks ticksBySound(SoundBeside &beside, std::uint64_t place, std::int64_t later) const
    {
        const auto &packets = walked.packets[beside.track];
        const std::int64_t ofSound = timescaleOf(beside.track);
        const auto perSecond =
            static_cast<double>(timescaleOf(sample.video)) / static_cast<double>(sample.tick);
        while (beside.next < packets.size() && packets[beside.next].offset < place)
            ++beside.next;
        const std::size_t first = rows.first(beside.track, beside.row);
        const auto secondsOf = [&](std::size_t packet, std::int64_t units) {
            const std::int64_t time =
                packets[packet].time + units * sample.tracks[beside.track].duration;
            return static_cast<double>(time + (packet < first ? 0 : later)) /
                   static_cast<double>(ofSound);
        };
        double least = -1e12;
        double most = 1e12;
        if (beside.next > 0)
            least =
                secondsOf(beside.next - 1, rows.unitsOf(beside.track, packets[beside.next - 1])) +
                sample.pictureAfterSound.least;
        if (beside.next < packets.size())
            most = secondsOf(beside.next, 0) + sample.pictureBeforeSound.most;
        // What is between a picture and the sound behind a gap is lost.
        if (beside.next < rows.end(beside.track, beside.row))
            least = std::max(least, secondsOf(beside.next, 0) + sample.pictureBeforeSound.least);
        // Times in files are rounded to their units.
        constexpr double rounding = 0.01;
        return {std::ceil(least * perSecond - rounding), std::floor(most * perSecond + rounding)};
    }

    /**
     * @param last when the picture before is decoded
     * @param places how many places further on this one is; 1 when none is missing
     */
    std::int64_t timeBySound(const Ticks &ticks, std::int64_t last, std::int64_t places) const
    {
        const std::int64_t soonest = last + sample.tick * places;
        const auto tick = static_cast<double>(sample.tick);
        // The sample's usual distance, as far as the sound allows it.
        const double usual = std::round(
            static_cast<double>(last + sample.tracks[sample.video].duration * places) / tick);
        const double chosen =
            ticks.isPossible() ? std::clamp(usual, ticks.earliest, ticks.latest) : ticks.earliest;
        return std::max<std::int64_t>(soonest, std::llround(chosen * tick));
    }

    void timeOthers(std::size_t track)
    {
        auto &packets = walked.packets[track];
        const TrackProfile &profile = sample.tracks[track];
        std::int64_t time = 0;
        for (std::size_t row = 0; row < rows.count(); ++row) {
            const std::size_t first = rows.first(track, row);
            const std::size_t end = rows.end(track, row);
            if (first == 0 && end > 0) {
                time =
                    clock == track && row > 0
                        ? missingByTicks(track, row, 0, unitsBefore(track, row)) * profile.duration
                        : beginningOf(track, row);
            } else if (first > 0 && first < packets.size()) {
                missing[track][row - 1] = missingBefore(track, row, time);
                time += missing[track][row - 1] * profile.duration;
            }
            for (std::size_t i = first; i < end; ++i) {
                packets[i].time = time;
                time += rows.unitsOf(track, packets[i]) * profile.duration;
            }
        }
    }

    /** When a track's first packet is there; it may be before the first picture. */
    std::int64_t beginningOf(std::size_t track, std::size_t row) const
    {
        const UnitRange range = besidePictures(track, row);
        return range.isKnown ? std::llround(range.beginning() *
                                            static_cast<double>(sample.tracks[track].duration))
                             : 0;
    }

    /** Of a track's units, as many as last as long as the pictures before a row. */
    std::int64_t unitsBefore(std::size_t track, std::size_t row) const
    {
        const std::size_t first = rows.first(sample.video, row);
        const auto &packets = walked.packets[sample.video];
        const Share share = shareNear(track, row - 1);
        if (first == 0 || first == packets.size() || share.pictures == 0)
            return 0;
        const std::int64_t grain = sample.tracks[track].grain;
        const double units = static_cast<double>(share.units) / share.pictures *
                             static_cast<double>(packets[first].time);
        return std::llround(units / static_cast<double>(grain)) * grain;
    }

    /** How many units of a track are missing before a row. */
    std::int64_t missingBefore(std::size_t track, std::size_t row, std::int64_t time)
    {
        if (clock == track)
            return missingByTicks(track, row, time, missingByShare(track, row - 1));
        const UnitRange range = besidePictures(track, row);
        const TrackProfile &profile = sample.tracks[track];
        if (!range.isKnown)
            return clock ? missingByShare(track, row - 1) : 0;
        return range.movedBy(-static_cast<double>(time) / static_cast<double>(profile.duration))
            .multiple(profile.grain);
    }

    /** When a row's first packet is there, in units of its track. */
    UnitRange besidePictures(std::size_t track, std::size_t row) const
    {
        if (clock)
            return clock == track ? UnitRange{} : rows.besideTimedPictures(track, row);
        const std::size_t picture = rows.first(sample.video, row);
        if (picture == rows.end(sample.video, row))
            return {};
        const double number = static_cast<double>(walked.packets[sample.video][picture].time) /
                              static_cast<double>(sample.tracks[sample.video].duration);
        return rows.besidePictures(track, row).movedBy(number * rows.unitsPerPicture(track));
    }

    /** What stands before the first picture is not before the recording. */
    void beginAtZero()
    {
        // Where sound tells the times, they count from the first that is left of it.
        double start = clock ? std::numeric_limits<double>::max() : 0;
        for (std::size_t i = 0; i < walked.packets.size(); ++i) {
            // The first picture that is shown is near.
            const std::size_t near = std::min<std::size_t>(walked.packets[i].size(), nearFirst);
            for (std::size_t packet = 0; packet < near; ++packet)
                start = std::min(start, static_cast<double>(beginOf(i, walked.packets[i][packet])) /
                                            static_cast<double>(timescaleOf(i)));
        }
        if (start == 0)
            return;
        for (std::size_t i = 0; i < walked.packets.size(); ++i) {
            const std::int64_t by = std::llround(-start * static_cast<double>(timescaleOf(i)));
            for (Packet &packet : walked.packets[i])
                packet.time += by;
        }
    }

    /** When a packet is needed at the earliest: a picture also when it is shown. */
    std::int64_t beginOf(std::size_t track, const Packet &packet) const
    {
        return track == sample.video
                   ? packet.time +
                         std::min<std::int64_t>(packet.compositionOffset - sample.orderDelay, 0)
                   : packet.time;
    }

    std::int64_t timescaleOf(std::size_t track) const
    {
        return std::max<std::int64_t>(sample.recording.tracks[track].timescale, 1);
    }

    /**
     * Where pictures are timed by the sound, and sound is missing: as much of it as there is
     * elsewhere with so many pictures; or, where none is missing, in so many bytes. The rest of a
     * broken picture may be among them.
     */
    std::int64_t missingByShare(std::size_t track, std::size_t gap) const
    {
        const WalkGap &bytes = walked.gaps[gap];
        const std::int64_t grain = sample.tracks[track].grain;
        const std::int64_t lost = missing[sample.video][gap];
        const Share share = shareNear(track, gap);
        if (share.bytes == 0 || share.pictures == 0)
            return 0;
        const double perPicture = static_cast<double>(share.units) / share.pictures;
        double missed = perPicture * static_cast<double>(lost + 1) -
                        static_cast<double>(unitsBetween(track, bytes.from, bytes.to));
        const double inBytes = static_cast<double>(bytes.unknown) *
                               static_cast<double>(share.units) / static_cast<double>(share.bytes);
        const std::size_t before = rows.end(sample.video, gap);
        const bool isBroken = before > 0 && walked.packets[sample.video][before - 1].isLost != 0;
        if (lost == 0)
            missed = isBroken ? std::min(missed, inBytes) : inBytes;
        return std::max<std::int64_t>(std::llround(missed / static_cast<double>(grain)), 0) * grain;
    }

    /**
     * Pictures are decoded at whole ticks: of the numbers near a guess, the nearest with which
     * those beside the sound behind the gap are.
     */
    std::int64_t missingByTicks(std::size_t track, std::size_t row, std::int64_t time,
                                std::int64_t guess)
    {
        constexpr std::int64_t reach = 16;
        const TrackProfile &profile = sample.tracks[track];
        const std::int64_t grain = std::max<std::int64_t>(profile.grain, 1);
        std::int64_t at = time;
        for (std::size_t i = rows.first(track, row); i < rows.end(track, row); ++i) {
            walked.packets[track][i].time = at;
            at += rows.unitsOf(track, walked.packets[track][i]) * profile.duration;
        }
        std::int64_t best = guess;
        std::size_t fewest = std::numeric_limits<std::size_t>::max();
        for (std::int64_t i = 0; i <= 2 * reach; ++i) {
            const std::int64_t missed = guess + (i % 2 == 0 ? i / 2 : -(i + 1) / 2) * grain;
            const std::size_t misfits =
                missed < 0 ? fewest : misfitsOf(track, row, missed * profile.duration);
            if (misfits < fewest)
                best = missed;
            fewest = std::min(fewest, misfits);
        }
        return best;
    }

    /** Pictures of a row for which there is no tick, if the sound beside them is so much later. */
    std::size_t misfitsOf(std::size_t track, std::size_t row, std::int64_t later) const
    {
        constexpr std::size_t mostCompared = 200;
        const auto &packets = walked.packets[sample.video];
        const std::size_t first = rows.first(sample.video, row);
        const std::size_t end = std::min(rows.end(sample.video, row), first + mostCompared);
        SoundBeside beside = {.track = track, .row = row, .next = rows.first(track, row)};
        std::size_t misfits = 0;
        for (std::size_t i = first; i < end; ++i)
            misfits += ticksBySound(beside, packets[i].offset, later).isPossible() ? 0U : 1U;
        return misfits;
    }

    /** Units of a track, bytes of all that stands between pictures, and intervals of these. */
    struct Share
    {
        std::int64_t units = 0;
        std::uint64_t bytes = 0;
        double pictures = 0;
    };

    std::int64_t unitsBetween(std::size_t track, std::uint64_t from, std::uint64_t to) const
    {
        const auto &packets = walked.packets[track];
        std::int64_t units = 0;
        for (auto packet = firstAt(packets, from); packet != packets.end() && packet->offset < to;
             ++packet)
            units += rows.unitsOf(track, *packet);
        return units;
    }

    static std::vector<Packet>::const_iterator firstAt(const std::vector<Packet> &packets,
                                                       std::uint64_t place)
    {
        return std::lower_bound(
            packets.begin(), packets.end(), place,
            [](const Packet &packet, std::uint64_t from) { return packet.offset < from; });
    }

    /** Of what stands before a gap and behind it. */
    Share shareNear(std::size_t track, std::size_t gap) const
    {
        constexpr std::size_t reach = 45;
        constexpr std::size_t mostRows = 16;
        Share share;
        std::size_t left = reach;
        for (std::size_t i = 0; i < mostRows && i <= gap && left > 0; ++i) {
            const std::size_t end = rows.end(sample.video, gap - i);
            const std::size_t count = std::min(end - rows.first(sample.video, gap - i), left + 1);
            left -= addShare(track, end - count, end, share);
        }
        left = reach;
        for (std::size_t i = gap + 1; i < std::min(gap + 1 + mostRows, rows.count()) && left > 0;
             ++i) {
            const std::size_t first = rows.first(sample.video, i);
            const std::size_t count = std::min(rows.end(sample.video, i) - first, left + 1);
            left -= addShare(track, first, first + count, share);
        }
        return share;
    }

    /** Of what stands between these pictures. Returns how many intervals these are. */
    std::size_t addShare(std::size_t track, std::size_t first, std::size_t end, Share &share) const
    {
        if (end - first < 2)
            return 0;
        const auto &all = walked.packets[sample.video];
        share.units += unitsBetween(track, all[first].offset, all[end - 1].offset);
        for (std::size_t i = first; i + 1 < end; ++i)
            share.bytes += all[i + 1].offset - all[i].end();
        share.pictures += static_cast<double>(end - first - 1);
        return end - first - 1;
    }

    /** Puts a track's packets into the recording, with lost ones for what is missing. */
    void place(IsoTrack &track, std::size_t index)
    {
        const TrackProfile &profile = sample.tracks[index];
        auto &packets = walked.packets[index];
        track.lastDuration = profile.duration;
        if (!packets.empty())
            track.lastDuration = rows.unitsOf(index, packets.back()) * profile.duration;
        // A single packet of data, such as a time code, holds for all of the recording.
        if (profile.coding == Coding::Data && packets.size() == 1)
            track.lastDuration = lengthIn(track.timescale);
        std::vector<Packet> all;
        all.reserve(packets.size());
        std::size_t from = 0;
        for (std::size_t gap = 0; gap < walked.gaps.size(); ++gap) {
            const std::int64_t count = missing[index][gap];
            if (count == 0)
                continue;
            const std::size_t to = rows.end(index, gap);
            all.insert(all.end(), packets.begin() + static_cast<std::ptrdiff_t>(from),
                       packets.begin() + static_cast<std::ptrdiff_t>(to));
            from = to;
            addLost(all, index, count, walked.gaps[gap].from);
        }
        if (all.empty()) {
            track.packets = std::move(packets);
            return;
        }
        all.insert(all.end(), packets.begin() + static_cast<std::ptrdiff_t>(from), packets.end());
        packets = {};
        track.packets = std::move(all);
    }

    /** How long the pictures last, in other units. */
    std::int64_t lengthIn(std::int64_t timescale)
    {
        const IsoTrack &video = sample.recording.tracks[sample.video];
        return std::max<std::int64_t>(
            av_rescale(videoEnd, timescale, std::max<std::int64_t>(video.timescale, 1)), 1);
    }

    void addLost(std::vector<Packet> &all, std::size_t index, std::int64_t count,
                 std::uint64_t place) const
    {
        const TrackProfile &profile = sample.tracks[index];
        const std::int64_t grain = std::max<std::int64_t>(profile.grain, 1);
        const std::int64_t marks = std::clamp<std::int64_t>(count / grain, 1, mostMarked);
        std::int64_t time = 0;
        if (!all.empty())
            time = all.back().time +
                   (all.back().isLost != 0 ? grain : rows.unitsOf(index, all.back())) *
                       profile.duration;
        for (std::int64_t i = 0; i < marks; ++i) {
            Packet lost = {.isLost = 1, .time = time + i * grain * profile.duration};
            lost.setOffset(place);
            all.push_back(lost);
        }
    }

    const SampleProfile &sample;
    WalkedMedia &walked;
    MediaRows rows;
    std::vector<Missing> missing;
    /** Pictures come at changing intervals, which this track of sound tells. */
    std::optional<std::size_t> clock;
    std::int64_t videoEnd = 0;
};

} // namespace

void setTimes(const SampleProfile &sample, WalkedMedia walked, IsoRecording &recording)
{
    for (const WalkGap &gap : walked.gaps)
        logLine(TarnLogInfo,
                "gap from " + std::to_string(gap.from) + " to " + std::to_string(gap.to));
    Timing(sample, walked).run(recording);
}
