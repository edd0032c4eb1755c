#include "engine/recording/PlainSound.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr std::array shapes = {
    PlainSoundLayout{.channels = 1, .bytes = 2}, PlainSoundLayout{.channels = 2, .bytes = 2},
    PlainSoundLayout{.channels = 4, .bytes = 2}, PlainSoundLayout{.channels = 1, .bytes = 3},
    PlainSoundLayout{.channels = 2, .bytes = 3}, PlainSoundLayout{.channels = 4, .bytes = 3},
};

std::int64_t sampleAt(const std::uint8_t *bytes, int width)
{
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value |= static_cast<std::uint32_t>(bytes[i]) << (8U * static_cast<unsigned>(i));
    // The sign is the highest bit of the highest byte.
    const auto unused = static_cast<unsigned>(4 - width) * 8U;
    return static_cast<std::int32_t>(value << unused) >> unused;
}

/** Both of two channels are the same: read as one, every other change would be none. */
bool areChannelsAlike(ByteView sound, int bytes)
{
    const auto width = static_cast<std::size_t>(bytes);
    std::size_t alike = 0;
    std::size_t frames = 0;
    for (std::size_t i = 0; i + 2 * width <= sound.size(); i += 2 * width, ++frames)
        alike += sampleAt(&sound[i], bytes) == sampleAt(&sound[i + width], bytes) ? 1U : 0U;
    constexpr std::size_t nearlyAll = 10;
    return frames > 0 && alike > frames - frames / nearlyAll;
}

int usualRate(double rate)
{
    constexpr std::array usual = {8000,  11025, 12000, 16000, 22050, 24000,
                                  32000, 44100, 48000, 88200, 96000};
    constexpr double near = 0.01;
    for (const int one : usual) {
        if (std::abs(rate / one - 1) < near)
            return one;
    }
    return 0;
}

} // namespace

std::optional<double> roughness(ByteView sound, const PlainSoundLayout &shape)
{
    const auto width = static_cast<std::size_t>(shape.bytes);
    const std::size_t frame = static_cast<std::size_t>(shape.channels) * width;
    double changes = 0;
    double sum = 0;
    for (std::size_t i = frame; i + frame <= sound.size(); i += frame) {
        for (std::size_t inside = 0; inside < frame; inside += width) {
            const std::uint8_t *place = &sound[i + inside];
            const std::int64_t now = sampleAt(place, shape.bytes);
            changes += static_cast<double>(std::abs(now - sampleAt(place - frame, shape.bytes)));
            sum += static_cast<double>(std::abs(now));
        }
    }
    return sum > 0 ? std::optional(changes / sum) : std::nullopt;
}

std::optional<PlainSoundLayout> plainSoundLayout(ByteView sound, double bytesPerSecond)
{
    // The next best must be clearly worse.
    constexpr double clearly = 1.3;
    double least = std::numeric_limits<double>::max();
    double second = least;
    PlainSoundLayout best;
    for (PlainSoundLayout shape : shapes) {
        shape.rate = usualRate(bytesPerSecond / (shape.channels * shape.bytes));
        const auto found = roughness(sound, shape);
        const bool isHalfOfTwo = shape.channels == 1 && areChannelsAlike(sound, shape.bytes);
        if (!found || shape.rate == 0 || isHalfOfTwo)
            continue;
        if (*found < least) {
            second = least;
            least = *found;
            best = shape;
        } else {
            second = std::min(second, *found);
        }
    }
    return least <= roughestSound && second >= least * clearly ? std::optional(best) : std::nullopt;
}
