#include "engine/advanced/Timeline.h"

#include "engine/log/LogLine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

namespace {

// Pictures behind a gap by which it is told how many are missing.
constexpr std::size_t picturesToCompare = 24;
// Packets of sound behind a gap that are held against the pictures beside them.
constexpr std::size_t soundsToCompare = 400;
// More that is missing at one place is one span.
constexpr std::int64_t mostMarked = 20000;

/** Numbers of what is missing at each gap, of one track. */
using Missing = std::vector<std::int64_t>;

// Places that must agree on how many pictures are missing.
constexpr int leastTold = 4;

/** How many pictures are missing was guessed. */
struct Guess
{
    /** The first picture behind. */
    std::size_t first = 0;
    /** When pictures of its sequence are shown is certain, not when they are decoded. */
    bool knowsShown = false;
};

class Timing
{
public:
    Timing(const SampleProfile &ofSample, WalkedMedia &ofWalk) : sample(ofSample), walked(ofWalk) {}

    void run(IsoRecording &recording)
    {
        for (std::size_t i = 0; i < recording.tracks.size(); ++i)
            missing.emplace_back(walked.gaps.size(), 0);
        keyDistance = commonKeyDistance();
        orderPictures();
        const auto sound = timingSound();
        if (sound) {
            timeOthers(*sound);
            timePicturesBySound(*sound);
        } else {
            timePicturesEvenly();
        }
        for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
            if (i != sample.video && i != sound)
                timeOthers(i);
        }
        if (!pictures().empty())
            videoEnd = pictures().back().time + sample.tracks[sample.video].duration;
        for (std::size_t i = 0; i < recording.tracks.size(); ++i)
            place(recording.tracks[i], i);
    }

private:
    std::vector<Packet> &pictures() { return walked.packets[sample.video]; }

    std::size_t countBefore(std::size_t gap, std::size_t track) const
    {
        return walked.gaps[gap].packetsBefore[track];
    }

    /** Bytes from one picture to the next, with all that stands between, near to one of them. */
    double bytesPerPicture(std::size_t near) const
    {
        constexpr std::size_t reach = 90;
        const auto &packets = walked.packets[sample.video];
        std::uint64_t bytes = 0;
        std::size_t count = 0;
        const std::size_t from = near - std::min(near, reach);
        for (std::size_t i = from; i + 1 < std::min(near + reach, packets.size()); ++i) {
            // What spans a gap says nothing.
            if (std::any_of(walked.gaps.begin(), walked.gaps.end(), [&](const WalkGap &gap) {
                    return gap.packetsBefore[sample.video] == i + 1;
                }))
                continue;
            bytes += packets[i + 1].offset - packets[i].offset;
            ++count;
        }
        return count > 0 ? std::max(static_cast<double>(bytes) / static_cast<double>(count), 1.0)
                         : static_cast<double>(std::max<std::uint64_t>(walked.walked, 1));
    }

    /** Bytes of a key picture. */
    double bytesOfKey() const
    {
        double bytes = 0;
        for (const std::size_t key : walked.sequences)
            bytes += walked.packets[sample.video][key].size;
        return walked.sequences.empty() ? 0 : bytes / static_cast<double>(walked.sequences.size());
    }

    /** Pictures' places in the order of decoding, and in that of showing. */
    void orderPictures()
    {
        auto &packets = pictures();
        std::int64_t number = 0;
        std::int64_t sequence = 0;
        std::size_t nextGap = 0;
        std::size_t nextSequence = 0;
        for (std::size_t i = 0; i < packets.size(); ++i) {
            const bool begins =
                nextSequence < walked.sequences.size() && walked.sequences[nextSequence] == i;
            for (; nextGap < walked.gaps.size() && countBefore(nextGap, sample.video) <= i;
                 ++nextGap) {
                if (countBefore(nextGap, sample.video) < i || i == 0)
                    continue;
                const std::int64_t lost = missingPictures(nextGap, i, number, sequence, begins);
                missing[sample.video][nextGap] = lost;
                logLine(TarnLogInfo, "gap " + std::to_string(nextGap) + ": " +
                                         std::to_string(lost) + " pictures missing before number " +
                                         std::to_string(number) + " of sequence from " +
                                         std::to_string(sequence));
                number += lost;
            }
            if (begins) {
                sequence = number;
                ++nextSequence;
            }
            // For now: its place among those decoded, and how many places later it is shown.
            Packet &packet = packets[i];
            packet.time = number;
            packet.compositionOffset =
                sample.tellsOrder
                    ? static_cast<std::int32_t>(
                          sequence + packet.compositionOffset / sample.orderStep - number)
                    : 0;
            ++number;
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

    /** The track of sound that pictures at changing intervals are timed by; none when they are
     * even. */
    std::optional<std::size_t> timingSound() const
    {
        if (!sample.pictureAfterSound.isKnown)
            return std::nullopt;
        for (std::size_t i = 0; i < sample.tracks.size(); ++i) {
            const Coding coding = sample.tracks[i].coding;
            if ((coding == Coding::Aac || coding == Coding::Plain) && !walked.packets[i].empty())
                return i;
        }
        return std::nullopt;
    }

    /**
     * How many pictures are missing before the `first`th that is there.
     *
     * @param number,sequence where the first would stand, and where its sequence began, if none was
     * @param begins with it, order counts begin anew
     */
    std::int64_t missingPictures(std::size_t gap, std::size_t first, std::int64_t number,
                                 std::int64_t &sequence, bool begins)
    {
        const WalkGap &bytes = walked.gaps[gap];
        const auto guess = static_cast<std::int64_t>(
            std::llround(static_cast<double>(bytes.to - bytes.from) / bytesPerPicture(first)));
        guesses[gap] = {.first = first};
        if (begins) {
            if (keyDistance <= 0)
                return guess;
            guesses.erase(gap);
            return missingToKey(number, sequence, guess);
        }
        if (!sample.tellsOrder)
            return guess;
        const auto told = missingByOrder(gap, first, number, sequence);
        if (!told)
            return guess;
        const std::int64_t byOrder = told->first;
        const std::int64_t range = std::max<std::int64_t>(sample.orderRange / sample.orderStep, 1);
        // Order counts say only their lowest bits.
        const std::int64_t turns = std::max(
            std::llround(static_cast<double>(guess - byOrder) / static_cast<double>(range)),
            byOrder < 0 ? (range - 1 - byOrder) / range : 0LL);
        const std::int64_t inSequence = byOrder + turns * range;
        if (isLikely(inSequence, guess, number - sequence)) {
            sequence += turns * range;
            // A few pictures may be those before the gap that are shown behind it.
            guesses[gap].knowsShown = true;
            if (told->second >= leastTold)
                guesses.erase(gap);
            return inSequence;
        }
        // A key picture was lost as well: the sequence is a later one.
        const double more = bytesOfKey() / bytesPerPicture(first) - 1;
        std::int64_t lost = guess - std::llround(std::max(more, 0.0));
        if (keyDistance > 0)
            lost =
                byOrder + std::max<std::int64_t>(std::llround(static_cast<double>(guess - byOrder) /
                                                              static_cast<double>(keyDistance)),
                                                 1) *
                              keyDistance;
        lost = std::max<std::int64_t>(lost, 0);
        sequence += lost - byOrder;
        return lost;
    }

    /** The next key picture stands a whole number of distances from the last. */
    std::int64_t missingToKey(std::int64_t number, std::int64_t sequence, std::int64_t guess) const
    {
        const std::int64_t turns =
            std::max<std::int64_t>(std::llround(static_cast<double>(number + guess - sequence) /
                                                static_cast<double>(keyDistance)),
                                   (number - sequence + keyDistance - 1) / keyDistance);
        return sequence + turns * keyDistance - number;
    }

    /** Whether so many can be missing within a sequence that had `before` pictures. */
    bool isLikely(std::int64_t lost, std::int64_t guess, std::int64_t before) const
    {
        constexpr std::int64_t tolerated = 4;
        if (keyDistance > 0)
            return before + lost < keyDistance;
        return std::abs(lost - guess) <= std::max(tolerated, guess / 3);
    }

    /** The sample's distance of key pictures, if this recording has it as well; otherwise 0. */
    std::int64_t commonKeyDistance() const
    {
        for (std::size_t i = 1; i < walked.sequences.size(); ++i) {
            const std::size_t from = walked.sequences[i - 1];
            const std::size_t to = walked.sequences[i];
            const bool hasGap =
                std::any_of(walked.gaps.begin(), walked.gaps.end(), [&](const WalkGap &gap) {
                    return gap.packetsBefore[sample.video] >= from &&
                           gap.packetsBefore[sample.video] <= to;
                });
            if (!hasGap && static_cast<std::int64_t>(to - from) != sample.keyDistance)
                return 0;
        }
        return sample.keyDistance;
    }

    /**
     * Where all pictures so far are shown before all that follow, as many have been decoded as
     * shown: that tells how many are missing, and how many places say so. None when there is no
     * such place near.
     */
    std::optional<std::pair<std::int64_t, int>> missingByOrder(std::size_t gap, std::size_t first,
                                                               std::int64_t number,
                                                               std::int64_t sequence) const
    {
        const auto &packets = walked.packets[sample.video];
        std::vector<std::int64_t> shown;
        std::size_t end = std::min(first + picturesToCompare, packets.size());
        if (gap + 1 < walked.gaps.size())
            end = std::min(end, std::max(countBefore(gap + 1, sample.video), first + 1));
        for (std::size_t i = first; i < end; ++i) {
            if (i > first &&
                std::binary_search(walked.sequences.begin(), walked.sequences.end(), i))
                break;
            shown.push_back(sequence + packets[i].compositionOffset / sample.orderStep);
        }
        std::map<std::int64_t, int> found;
        std::int64_t latest = std::numeric_limits<std::int64_t>::min();
        for (std::size_t i = 0; i + 1 < shown.size(); ++i) {
            latest = std::max(latest, shown[i]);
            if (*std::min_element(shown.begin() + static_cast<std::ptrdiff_t>(i) + 1, shown.end()) >
                latest)
                ++found[latest - number - static_cast<std::int64_t>(i)];
        }
        if (shown.size() == 1)
            ++found[shown[0] - number];
        // Pictures that were decoded before the gap and are shown behind it make it seem smaller.
        const auto most =
            std::max_element(found.rbegin(), found.rend(), [](const auto &one, const auto &other) {
                return one.second < other.second;
            });
        if (most == found.rend())
            return std::nullopt;
        return std::pair(most->first, most->second);
    }

    std::int64_t unitsOf(std::size_t track, const Packet &packet) const
    {
        const std::uint32_t size = sample.recording.tracks[track].uniformSize;
        return size > 0 ? packet.size / size : 1;
    }

    void timeOthers(std::size_t track)
    {
        auto &packets = walked.packets[track];
        const TrackProfile &profile = sample.tracks[track];
        std::int64_t time = 0;
        std::size_t nextGap = 0;
        for (std::size_t i = 0; i < packets.size(); ++i) {
            for (; nextGap < walked.gaps.size() && countBefore(nextGap, track) <= i; ++nextGap) {
                if (countBefore(nextGap, track) < i || i == 0)
                    continue;
                missing[track][nextGap] = isTimedByPictures()
                                              ? missingBeside(track, nextGap, i, time)
                                              : missingByShare(track, nextGap);
                time += missing[track][nextGap] * profile.duration;
            }
            packets[i].time = time;
            time += unitsOf(track, packets[i]) * profile.duration;
        }
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
            share.units += unitsOf(track, *packet);
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

    /** Seconds at which the picture that comes next in the file behind a place is decoded. */
    double pictureTimeAt(std::uint64_t place, std::size_t &hint)
    {
        const auto &packets = pictures();
        while (hint < packets.size() && packets[hint].offset < place)
            ++hint;
        if (hint >= packets.size())
            return -1;
        return static_cast<double>(packets[hint].time) /
               static_cast<double>(sample.recording.tracks[sample.video].timescale);
    }

    /** Between which numbers of units is missing what makes sound stand beside pictures as it does
     * in the sample. */
    struct Range
    {
        double least = -1e12;
        double most = 1e12;
        bool isKnown = false;

        /** The only whole multiple in it, or that nearest to its middle. */
        std::int64_t middle(std::int64_t grain) const
        {
            const double multiple = (least + most) / 2 / static_cast<double>(grain);
            return std::llround(multiple) * grain;
        }

        bool holdsMultiple(std::int64_t grain) const
        {
            constexpr double rounding = 0.06;
            const auto size = static_cast<double>(grain);
            return std::floor(most / size + rounding) * size >= least - rounding * size;
        }
    };

    Range rangeBeside(std::size_t track, std::size_t first, std::int64_t time)
    {
        const auto &packets = walked.packets[track];
        const TrackProfile &profile = sample.tracks[track];
        const auto timescale = static_cast<double>(sample.recording.tracks[track].timescale);
        const double unit = static_cast<double>(profile.duration) / timescale;
        Range range;
        if (unit <= 0 || !profile.lead.isKnown)
            return range;
        std::int64_t units = 0;
        const auto &all = pictures();
        auto hint = static_cast<std::size_t>(firstAt(all, packets[first].offset) - all.begin());
        for (std::size_t i = first; i < std::min(first + soundsToCompare, packets.size()); ++i) {
            const double picture =
                isBehindNextGap(track, first, i) ? -1 : pictureTimeAt(packets[i].offset, hint);
            if (isGapBetween(track, i, hint))
                break;
            if (picture < 0)
                break;
            const double now =
                static_cast<double>(time) / timescale + static_cast<double>(units) * unit;
            range.least = std::max(range.least, (picture + profile.lead.least - now) / unit);
            range.most = std::min(range.most, (picture + profile.lead.most - now) / unit);
            range.isKnown = true;
            units += unitsOf(track, packets[i]);
        }
        return range;
    }

    /** How many units are missing at a gap; where the number of pictures was guessed, it is set
     * right by the sound, which does not fit any other number. */
    std::int64_t missingBeside(std::size_t track, std::size_t gap, std::size_t first,
                               std::int64_t time)
    {
        Range range = rangeBeside(track, first, time);
        if (!range.isKnown)
            return 0;
        const TrackProfile &profile = sample.tracks[track];
        const auto guess = guesses.find(gap);
        if (guess != guesses.end() && !range.holdsMultiple(profile.grain)) {
            const std::int64_t moved = pictureShift(track, gap, range);
            movePictures(guess->second, moved);
            missing[sample.video][gap] += moved;
            guesses.erase(guess);
            range = rangeBeside(track, first, time);
        }
        return std::max<std::int64_t>(range.middle(profile.grain), 0);
    }

    /** By how many pictures a guess is wrong, at least, so that the sound fits. */
    std::int64_t pictureShift(std::size_t track, std::size_t gap, const Range &range) const
    {
        constexpr std::int64_t furthest = 12;
        const TrackProfile &profile = sample.tracks[track];
        const IsoTrack &video = sample.recording.tracks[sample.video];
        const double perPicture = static_cast<double>(sample.tracks[sample.video].duration) /
                                  static_cast<double>(video.timescale) *
                                  static_cast<double>(sample.recording.tracks[track].timescale) /
                                  static_cast<double>(profile.duration);
        for (std::int64_t i = 1; i <= 2 * furthest; ++i) {
            const std::int64_t shift = (i + 1) / 2 * (i % 2 == 0 ? 1 : -1);
            const double by = static_cast<double>(shift) * perPicture;
            const Range moved = {range.least + by, range.most + by, true};
            if (missing[sample.video][gap] + shift >= 0 && moved.most >= 0 &&
                moved.holdsMultiple(profile.grain))
                return shift;
        }
        return 0;
    }

    void movePictures(const Guess &guess, std::int64_t by)
    {
        const std::int64_t distance = by * sample.tracks[sample.video].duration;
        // Pictures from before the gap hide one or two; otherwise the sequence is another one.
        constexpr std::int64_t mostHidden = 2;
        const bool movesShown = !guess.knowsShown || by < 0 || by > mostHidden;
        auto &packets = pictures();
        const auto next =
            std::upper_bound(walked.sequences.begin(), walked.sequences.end(), guess.first);
        const std::size_t end = next != walked.sequences.end() ? *next : packets.size();
        for (std::size_t i = distance == 0 ? packets.size() : guess.first; i < packets.size();
             ++i) {
            packets[i].time += distance;
            if (!movesShown && i < end)
                packets[i].compositionOffset -= static_cast<std::int32_t>(distance);
        }
    }

    /** Something is missing between a packet and a picture that stands behind it. */
    bool isGapBetween(std::size_t track, std::size_t packet, std::size_t picture) const
    {
        const auto gap =
            std::partition_point(walked.gaps.begin(), walked.gaps.end(), [&](const WalkGap &one) {
                return one.packetsBefore[track] <= packet;
            });
        return gap != walked.gaps.end() && gap->packetsBefore[sample.video] <= picture;
    }

    bool isBehindNextGap(std::size_t track, std::size_t first, std::size_t i) const
    {
        return std::any_of(walked.gaps.begin(), walked.gaps.end(), [&](const WalkGap &gap) {
            return gap.packetsBefore[track] > first && gap.packetsBefore[track] <= i;
        });
    }

    /** Pictures have their times before the sound, not from it. */
    bool isTimedByPictures() const { return !timingSound(); }

    /** Puts a track's packets into the recording, with lost ones for what is missing. */
    void place(IsoTrack &track, std::size_t index)
    {
        const TrackProfile &profile = sample.tracks[index];
        auto &packets = walked.packets[index];
        track.lastDuration = profile.duration;
        if (!packets.empty())
            track.lastDuration = unitsOf(index, packets.back()) * profile.duration;
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
            const std::size_t to = countBefore(gap, index);
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
                   (all.back().isLost != 0 ? grain : unitsOf(index, all.back())) * profile.duration;
        for (std::int64_t i = 0; i < marks; ++i) {
            Packet lost = {.isLost = 1, .time = time + i * grain * profile.duration};
            lost.setOffset(place);
            all.push_back(lost);
        }
    }

    const SampleProfile &sample;
    WalkedMedia &walked;
    std::vector<Missing> missing;
    /** Gaps of which order does not tell for certain how many pictures are missing. */
    std::map<std::size_t, Guess> guesses;
    std::int64_t videoEnd = 0;
    std::int64_t keyDistance = 0;
};

} // namespace

void setTimes(const SampleProfile &sample, WalkedMedia walked, IsoRecording &recording)
{
    for (const WalkGap &gap : walked.gaps)
        logLine(TarnLogInfo,
                "gap from " + std::to_string(gap.from) + " to " + std::to_string(gap.to));
    Timing(sample, walked).run(recording);
}
