#include "engine/advanced/MediaRows.h"

#include <algorithm>
#include <cmath>

namespace {

// Packets of a row that are held against the pictures beside them.
constexpr std::size_t mostCompared = 400;

} // namespace

std::int64_t UnitRange::multiple(std::int64_t grain) const
{
    const double nearest = (least + most) / 2 / static_cast<double>(grain);
    return std::max<std::int64_t>(std::llround(nearest), 0) * grain;
}

double UnitRange::distance(std::int64_t grain) const
{
    const auto size = static_cast<double>(grain);
    const auto nearest = static_cast<double>(multiple(grain));
    const double outside =
        std::max(std::min(least, most) - nearest, nearest - std::max(least, most));
    return std::max(outside / size, 0.0);
}

double UnitRange::beginning() const
{
    return least <= 0 && most >= 0 ? 0 : (least + most) / 2;
}

std::int64_t MediaRows::unitsOf(std::size_t track, const Packet &packet) const
{
    const std::uint32_t size = sample.recording.tracks[track].uniformSize;
    return size > 0 ? packet.size / size : 1;
}

double MediaRows::unitsPerPicture(std::size_t track) const
{
    const double picture = static_cast<double>(sample.tracks[sample.video].duration) /
                           static_cast<double>(sample.recording.tracks[sample.video].timescale);
    const double unit = static_cast<double>(sample.tracks[track].duration) /
                        static_cast<double>(sample.recording.tracks[track].timescale);
    return unit > 0 ? picture / unit : 0;
}

template <typename UnitsAt>
UnitRange MediaRows::beside(std::size_t track, std::size_t row, UnitsAt unitsAt) const
{
    UnitRange range;
    const TrackProfile &profile = sample.tracks[track];
    if (!profile.lead.isKnown || profile.duration <= 0)
        return range;
    const auto &packets = walked.packets[track];
    const auto &pictures = walked.packets[sample.video];
    const double perSecond = static_cast<double>(sample.recording.tracks[track].timescale) /
                             static_cast<double>(profile.duration);
    std::size_t picture = first(sample.video, row);
    std::int64_t units = 0;
    const std::size_t from = first(track, row);
    for (std::size_t i = from; i < std::min(from + mostCompared, end(track, row)); ++i) {
        while (picture < end(sample.video, row) && pictures[picture].offset < packets[i].offset)
            ++picture;
        // Of what follows the row's last picture, the next picture is lost.
        if (picture == end(sample.video, row))
            break;
        // Of the first, only the end may be there.
        units += unitsOf(track, packets[i]);
        const double later = unitsAt(picture) - static_cast<double>(units);
        range.least = std::max(range.least, later + profile.lead.least * perSecond);
        range.most = std::min(range.most, later + profile.lead.most * perSecond);
        range.isKnown = true;
    }
    // Times in files are rounded to their units.
    const IsoTrack &video = sample.recording.tracks[sample.video];
    const double rounding = 1 / static_cast<double>(profile.duration) +
                            perSecond / static_cast<double>(video.timescale);
    range.least -= rounding;
    range.most += rounding;
    return range;
}

UnitRange MediaRows::besidePictures(std::size_t track, std::size_t row) const
{
    const std::size_t from = first(sample.video, row);
    const double perPicture = unitsPerPicture(track);
    return beside(track, row, [from, perPicture](std::size_t picture) {
        return static_cast<double>(picture - from) * perPicture;
    });
}

UnitRange MediaRows::besideTimedPictures(std::size_t track, std::size_t row) const
{
    const double seconds = 1 / static_cast<double>(sample.recording.tracks[sample.video].timescale);
    const double perSecond = static_cast<double>(sample.recording.tracks[track].timescale) /
                             static_cast<double>(sample.tracks[track].duration);
    return beside(track, row, [this, seconds, perSecond](std::size_t picture) {
        return static_cast<double>(walked.packets[sample.video][picture].time) * seconds *
               perSecond;
    });
}
