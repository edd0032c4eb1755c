#include "engine/iso/SampleDurations.h"

#include <cmath>
#include <cstdlib>

namespace {

// Headers, edits and tables of sound files differ by this much.
constexpr double toleratedPart = 0.1;

// Samples of a frame of compressed sound: AAC, and its variants of half and double rate.
constexpr std::int64_t soundFrames[] = {1024, 2048, 960, 512, 1152, 1536};

bool isNear(double value, double expected)
{
    return std::abs(value - expected) <= toleratedPart * expected;
}

std::int64_t durationOf(const IsoTrack &track)
{
    return track.packets.back().time + track.lastDuration;
}

/** A whole number by which all durations are too long; 1 when there is none. */
std::int64_t commonFactor(const IsoTrack &track, double ratio)
{
    const auto factor = static_cast<std::int64_t>(std::llround(ratio));
    if (factor < 2 || std::abs(ratio - static_cast<double>(factor)) > 0.01)
        return 1;
    for (const Packet &packet : track.packets) {
        if (packet.time % factor != 0)
            return 1;
    }
    return track.lastDuration % factor == 0 ? factor : 1;
}

void setUniformTimes(IsoTrack &track, std::int64_t duration)
{
    const auto count = static_cast<std::int64_t>(track.packets.size());
    // Their product may be too large for any number.
    for (std::int64_t i = 0; i < count; ++i)
        track.packets[static_cast<std::size_t>(i)].time =
            duration / count * i + duration % count * i / count;
    track.lastDuration = duration - track.packets.back().time;
}

void divideTimes(IsoTrack &track, std::int64_t factor)
{
    for (Packet &packet : track.packets)
        packet.time /= factor;
    track.lastDuration /= factor;
}

/** Plain sound needs no witness: its samples last as long as the rate says. */
bool mendPlainSound(IsoTrack &track)
{
    if (track.uniformSize == 0 || track.soundSamples == 0 ||
        track.uniformDuration == track.soundSamples ||
        track.timescale != static_cast<std::int64_t>(track.sampleRate))
        return false;
    std::int64_t time = 0;
    for (Packet &packet : track.packets) {
        packet.time = time;
        time += std::int64_t{packet.size / track.uniformSize} * track.soundSamples;
    }
    track.uniformDuration = track.soundSamples;
    track.lastDuration = time - track.packets.back().time;
    return true;
}

/** What the track lasts by what is said elsewhere than in its table; 0 when nothing agrees. */
std::int64_t witnessedDuration(const IsoTrack &track, std::int64_t movieTimescale)
{
    const auto stated = static_cast<double>(track.statedDuration);
    const auto timescale = static_cast<double>(track.timescale);
    const double ofMovie = static_cast<double>(track.statedMovieDuration) * timescale /
                           static_cast<double>(movieTimescale);
    if (stated > 0 && isNear(stated, ofMovie))
        return track.statedDuration;
    // Frames of sound have one of few lengths.
    const auto count = static_cast<std::int64_t>(track.packets.size());
    for (const std::int64_t frame : soundFrames) {
        const std::int64_t duration = frame * count;
        const bool isRate = track.timescale == static_cast<std::int64_t>(track.sampleRate);
        if (track.kind == TrackKind::Audio && isRate && stated > 0 &&
            isNear(stated, static_cast<double>(duration)))
            return duration;
    }
    return 0;
}

bool mendTrack(IsoTrack &track, std::int64_t movieTimescale)
{
    if (track.packets.empty() || track.isFragmented || track.missing > 0)
        return false;
    if (mendPlainSound(track))
        return true;
    const std::int64_t witnessed = witnessedDuration(track, movieTimescale);
    const auto duration = static_cast<double>(durationOf(track));
    if (witnessed <= 0 || isNear(duration, static_cast<double>(witnessed)) || track.uniformSize > 0)
        return false;
    const std::int64_t factor = commonFactor(track, duration / static_cast<double>(witnessed));
    if (factor > 1)
        divideTimes(track, factor);
    else
        setUniformTimes(track, witnessed);
    return true;
}

} // namespace

void mendSampleDurations(IsoRecording &recording)
{
    for (IsoTrack &track : recording.tracks)
        track.isRetimed = mendTrack(track, recording.movieTimescale);
}
