#include "engine/advanced/Timeline.h"

#include "engine/advanced/PicturePlaces.h"
#include "engine/log/LogLine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace {

// Among so many pictures is the one that is shown first.
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
        isTimedBySound = sound && sample.pictureAfterSound.isKnown;
        orderPictures(isTimedBySound ? std::nullopt : sound);
        if (isTimedBySound) {
            timeOthers(*sound);
            timePicturesBySound(*sound);
        } else {
            timePicturesEvenly();
        }
        for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
            if (i != sample.video && !(isTimedBySound && i == sound))
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
        const std::int64_t duration = sample.tracks[sample.video].duration;
        std::size_t next = 0;
        for (const Packet &packet : packets) {
            // Where pictures are missing, their places stay empty.
            const std::int64_t places =
                std::max<std::int64_t>(packet.time - static_cast<std::int64_t>(times.size()), 0) +
                1;
            const std::int64_t last = times.empty() ? -sample.tick : times.back();
            const std::int64_t at = timeBySound(sound, packet.offset, next, last, places);
            for (std::int64_t i = 1; i <= places; ++i)
                times.push_back(last + (at - last) * i / places);
        }
        for (Packet &packet : packets) {
            const std::int64_t number = packet.time;
            packet.time = times[static_cast<std::size_t>(number)];
            const std::int64_t shown =
                number + packet.compositionOffset + static_cast<std::int64_t>(sample.delayedBy);
            const auto count = static_cast<std::int64_t>(times.size());
            const std::int64_t at =
                shown < count ? times[static_cast<std::size_t>(std::max<std::int64_t>(shown, 0))]
                              : times.back() + (shown - count + 1) * duration;
            packet.compositionOffset = fitted(at - packet.time);
        }
    }

    /**
     * @param next the sound behind the picture before; goes on to the one behind this
     * @param last when the picture before is decoded
     * @param places how many places further on this one is; 1 when none is missing
     */
    std::int64_t timeBySound(std::size_t sound, std::uint64_t place, std::size_t &next,
                             std::int64_t last, std::int64_t places) const
    {
        const auto &packets = walked.packets[sound];
        const auto ofSound = static_cast<double>(sample.recording.tracks[sound].timescale);
        const auto timescale = static_cast<double>(sample.recording.tracks[sample.video].timescale);
        while (next < packets.size() && packets[next].offset < place)
            ++next;
        const std::int64_t soonest = last + sample.tick * places;
        double least = static_cast<double>(soonest) / timescale;
        double most = 1e18;
        if (next > 0)
            least = std::max(least, static_cast<double>(packets[next - 1].time) / ofSound +
                                        sample.pictureAfterSound.least);
        if (next < packets.size())
            most =
                static_cast<double>(packets[next].time) / ofSound + sample.pictureBeforeSound.most;
        const auto tick = static_cast<double>(sample.tick);
        const double earliest = std::ceil(least * timescale / tick - 0.01);
        const double latest = std::floor(most * timescale / tick + 0.01);
        // The sample's usual distance, as far as the sound allows it.
        const double usual =
            static_cast<double>(last + sample.tracks[sample.video].duration * places) / tick;
        const double chosen =
            latest < earliest ? earliest : std::clamp(std::round(usual), earliest, latest);
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
                time = beginningOf(track, row);
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

    /** How many units of a track are missing before a row. */
    std::int64_t missingBefore(std::size_t track, std::size_t row, std::int64_t time) const
    {
        if (isTimedBySound)
            return missingByShare(track, row - 1);
        const UnitRange range = besidePictures(track, row);
        const TrackProfile &profile = sample.tracks[track];
        if (!range.isKnown)
            return 0;
        return range.movedBy(-static_cast<double>(time) / static_cast<double>(profile.duration))
            .multiple(profile.grain);
    }

    /** When a row's first packet is there, in units of its track. */
    UnitRange besidePictures(std::size_t track, std::size_t row) const
    {
        if (isTimedBySound)
            return {};
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
        double start = 0;
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
     * elsewhere with so many pictures; or, where no picture is missing, in so many bytes.
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
        const double missed =
            lost == 0 ? static_cast<double>(bytes.unknown) * static_cast<double>(share.units) /
                            static_cast<double>(share.bytes)
                      : perPicture * static_cast<double>(lost + 1) -
                            static_cast<double>(unitsBetween(track, bytes.from, bytes.to).units);
        return std::max<std::int64_t>(std::llround(missed / static_cast<double>(grain)), 0) * grain;
    }

    /** Sound, in units and bytes, and the pictures beside it. */
    struct Share
    {
        std::int64_t units = 0;
        std::uint64_t bytes = 0;
        double pictures = 0;
    };

    Share unitsBetween(std::size_t track, std::uint64_t from, std::uint64_t to) const
    {
        const auto &packets = walked.packets[track];
        Share share;
        for (auto packet = firstAt(packets, from); packet != packets.end() && packet->offset < to;
             ++packet) {
            share.units += rows.unitsOf(track, *packet);
            share.bytes += packet->size;
        }
        return share;
    }

    static std::vector<Packet>::const_iterator firstAt(const std::vector<Packet> &packets,
                                                       std::uint64_t place)
    {
        return std::lower_bound(
            packets.begin(), packets.end(), place,
            [](const Packet &packet, std::uint64_t from) { return packet.offset < from; });
    }

    /** Before a gap and behind it, up to the next ones. */
    Share shareNear(std::size_t track, std::size_t gap) const
    {
        constexpr std::ptrdiff_t reach = 45;
        const auto &all = walked.packets[sample.video];
        const std::uint64_t end = walked.gaps[gap].to;
        const std::uint64_t start = walked.gaps[gap].from;
        const auto first = firstAt(all, gap == 0 ? 0 : walked.gaps[gap - 1].to);
        const auto before = firstAt(all, start);
        const auto behind = firstAt(all, end);
        const auto last =
            gap + 1 < walked.gaps.size() ? firstAt(all, walked.gaps[gap + 1].from) : all.end();
        Share share;
        const auto add = [&](auto from, auto to) {
            if (to - from < 2)
                return;
            const Share one = unitsBetween(track, from->offset, std::prev(to)->offset);
            share.units += one.units;
            share.bytes += one.bytes;
            share.pictures += static_cast<double>(to - from - 1);
        };
        add(before - std::min(before - first, reach), before);
        add(behind, behind + std::min(last - behind, reach));
        return share;
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
    /** Pictures come at changing intervals, which the sound beside them tells. */
    bool isTimedBySound = false;
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
