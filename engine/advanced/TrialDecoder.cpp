#include "engine/advanced/TrialDecoder.h"

#include "engine/recording/PacketContent.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <new>

namespace {

// As much of a picture's end as is changed; longer ones notice it.
constexpr std::size_t tail = 16;

/** What a picture alone looks like; 0 when it cannot be decoded. */
std::uint64_t lookOf(const AVCodecParameters &parameters, ByteView picture)
{
    TrialDecoder decoder(parameters);
    decoder.decode(picture);
    return decoder.finish() ? decoder.hash() | 1U : 0;
}

/** Where the last unit of a picture begins, with its length. */
std::size_t lastUnit(ByteView picture, unsigned width)
{
    std::size_t place = 0;
    for (std::size_t next = 0; next + width < picture.size();) {
        place = next;
        next += width + static_cast<std::size_t>(PacketContent::lengthField(&picture[next], width));
    }
    return place;
}

} // namespace

TrialDecoder::TrialDecoder(const AVCodecParameters &parameters)
    : packet(Ffmpeg::makePacket()), frame(Ffmpeg::makeFrame())
{
    const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
    decoder.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder)
        throw std::bad_alloc();
    decoder->thread_count = 1;
    decoder->err_recognition = AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_CAREFUL;
    if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0 ||
        avcodec_open2(decoder.get(), codec, nullptr) < 0)
        decoder.reset();
}

void TrialDecoder::decode(ByteView bytes)
{
    if (!decoder || av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
        return;
    std::copy(bytes.begin(), bytes.end(), packet->data);
    hasError = avcodec_send_packet(decoder.get(), packet.get()) < 0 || hasError;
    av_packet_unref(packet.get());
    receive();
}

bool TrialDecoder::finish()
{
    if (!decoder)
        return false;
    avcodec_send_packet(decoder.get(), nullptr);
    receive();
    return !hasError && frames > 0;
}

void TrialDecoder::receive()
{
    int result = avcodec_receive_frame(decoder.get(), frame.get());
    for (; result >= 0; result = avcodec_receive_frame(decoder.get(), frame.get())) {
        hasError = hasError || frame->decode_error_flags != 0 ||
                   (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
        ++frames;
        addToHash();
        av_frame_unref(frame.get());
    }
    hasError = hasError || (result != AVERROR(EAGAIN) && result != AVERROR_EOF);
}

/** All planes: the end of a picture may change nothing but its colours. */
void TrialDecoder::addToHash()
{
    constexpr std::uint64_t prime = 0x100000001b3;
    const auto format = static_cast<AVPixelFormat>(frame->format);
    const int planes = av_pix_fmt_count_planes(format);
    for (int plane = 0; plane < planes; ++plane) {
        const int width = av_image_get_linesize(format, frame->width, plane);
        const bool isColour = plane == 1 || plane == 2;
        const int height =
            isColour ? AV_CEIL_RSHIFT(frame->height, av_pix_fmt_desc_get(format)->log2_chroma_h)
                     : frame->height;
        for (int y = 0; y < height; ++y) {
            const std::uint8_t *line =
                frame->data[plane] + std::ptrdiff_t{y} * frame->linesize[plane];
            for (int x = 0; x < width; ++x)
                pictureHash = (pictureHash ^ line[x]) * prime;
        }
    }
}

Bytes withOtherEnd(ByteView picture)
{
    Bytes changed(picture.begin(), picture.end());
    for (std::size_t i = changed.size() - std::min(tail, changed.size()); i < changed.size(); ++i)
        changed[i] = static_cast<std::uint8_t>(changed[i] ^ (0x55U + (i & 0x3fU)));
    return changed;
}

bool isUsedToItsEnd(const AVCodecParameters &parameters, ByteView picture, unsigned width)
{
    constexpr std::size_t moreBytes = 64;
    const std::size_t start = lastUnit(picture, width);
    const std::size_t size = picture.size() - start - width;
    const std::uint64_t look = lookOf(parameters, picture);
    if (look == 0 || size < 4 * tail)
        return look != 0;
    if (lookOf(parameters, withOtherEnd(picture)) == look)
        return false;
    Bytes longer(picture.begin(), picture.end());
    for (std::size_t i = 0; i < moreBytes; ++i)
        longer.push_back(static_cast<std::uint8_t>(0x9dU + 37U * i));
    patchBe(longer, start, size + moreBytes, width);
    return lookOf(parameters, longer) == look;
}

bool samplePicturesEndExactly(const SampleProfile &sample)
{
    const IsoTrack &track = sample.recording.tracks[sample.video];
    return track.nalLengthSize > 0 && !sample.keyPicture.empty() &&
           isUsedToItsEnd(*streamOf(sample, sample.video)->codecpar, sample.keyPicture,
                          track.nalLengthSize);
}
