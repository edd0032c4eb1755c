#include "engine/avi/AviSound.h"

#include "engine/recording/RiffChunk.h"

#include <algorithm>
#include <utility>

namespace {

/** Number of a codec in a sound format; 0 for none. */
unsigned formatNumber(AVCodecID codec)
{
    constexpr std::pair<AVCodecID, unsigned> numbers[] = {
        {AV_CODEC_ID_PCM_S16LE, 1}, {AV_CODEC_ID_PCM_S24LE, 1}, {AV_CODEC_ID_MP2, 0x50},
        {AV_CODEC_ID_MP3, 0x55},    {AV_CODEC_ID_AAC, 0xff},    {AV_CODEC_ID_AC3, 0x2000},
        {AV_CODEC_ID_DTS, 0x2001}};
    const auto *found = std::find_if(std::begin(numbers), std::end(numbers),
                                     [codec](const auto &one) { return one.first == codec; });
    return found != std::end(numbers) ? found->second : 0;
}

/** Samples of each channel in a frame. */
unsigned samplesOf(const AVCodecParameters &sound)
{
    constexpr int lowestFullRate = 32000;
    switch (sound.codec_id) {
    case AV_CODEC_ID_MP2:
        return 1152;
    case AV_CODEC_ID_MP3:
        return sound.sample_rate < lowestFullRate ? 576 : 1152;
    case AV_CODEC_ID_AC3:
        return 1536;
    case AV_CODEC_ID_DTS:
        return 512;
    default:
        return 1024;
    }
}

/** What follows the fixed part of a sound format. */
Bytes extraOf(const AVCodecParameters &sound, unsigned frameSize)
{
    if (sound.codec_id != AV_CODEC_ID_MP3)
        return {sound.extradata, sound.extradata + sound.extradata_size};
    Bytes extra;
    // Frames of their own, not padded, as many bytes to a block, one frame in each.
    appendLe(extra, 1, 2);
    appendLe(extra, 2, 4);
    appendLe(extra, frameSize, 2);
    appendLe(extra, 1, 2);
    appendLe(extra, 0, 2);
    return extra;
}

} // namespace

Bytes makeSoundList(const AVCodecParameters &sound, std::uint64_t chunks, std::uint64_t bytes)
{
    const unsigned number = formatNumber(sound.codec_id);
    const auto bits = static_cast<unsigned>(av_get_exact_bits_per_sample(sound.codec_id));
    const auto channels = static_cast<unsigned>(sound.ch_layout.nb_channels);
    const auto rate = static_cast<unsigned>(sound.sample_rate);
    const bool isPlain = bits > 0;
    const unsigned samples = isPlain ? 1 : samplesOf(sound);
    // A block of plain sound is a sample of each channel; one of other sound lasts as long as a
    // frame, whatever its size.
    const unsigned blockSize = isPlain ? channels * bits / 8 : samples;
    if (number == 0 || blockSize == 0 || rate == 0 || chunks == 0)
        return {};
    const std::uint64_t bytesPerSecond =
        isPlain ? std::uint64_t{blockSize} * rate : bytes * rate / (chunks * samples);

    Bytes header;
    appendText(header, "auds");
    appendLe(header, 0, 16);
    appendLe(header, isPlain ? blockSize : samples, 4);
    appendLe(header, isPlain ? bytesPerSecond : rate, 4);
    appendLe(header, 0, 4);
    appendLe(header, isPlain ? bytes / blockSize : chunks, 4);
    appendLe(header, 0, 4);
    appendLe(header, 0xffffffff, 4);
    appendLe(header, isPlain ? blockSize : 0, 4);
    appendLe(header, 0, 8);

    Bytes format;
    appendLe(format, number, 2);
    appendLe(format, channels, 2);
    appendLe(format, rate, 4);
    appendLe(format, bytesPerSecond, 4);
    appendLe(format, blockSize, 2);
    appendLe(format, bits, 2);
    const Bytes extra = extraOf(sound, samples);
    appendLe(format, extra.size(), 2);
    appendBytes(format, extra);
    return streamList(header, format);
}
