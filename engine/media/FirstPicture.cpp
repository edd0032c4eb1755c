#include "engine/media/FirstPicture.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/media/AsideFile.h"
#include "engine/media/MendedInput.h"
#include "engine/media/Orientation.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <new>
#include <utility>

namespace {

// 2 is the encoder's best, 31 its worst; 3 shows no blocks at the size of a thumbnail.
constexpr int jpegQuantiser = 3;

enum class Pictures { KeyOnly, All };

bool isClean(const AVFrame &frame)
{
    return (frame.flags & AV_FRAME_FLAG_CORRUPT) == 0 && frame.decode_error_flags == 0;
}

Ffmpeg::CodecContextPtr openDecoder(const AVStream &stream, Pictures pictures)
{
    const AVCodec *codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr)
        return nullptr;
    Ffmpeg::CodecContextPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder)
        throw std::bad_alloc();
    if (avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0)
        return nullptr;
    decoder->pkt_timebase = stream.time_base;
    decoder->skip_frame = pictures == Pictures::KeyOnly ? AVDISCARD_NONKEY : AVDISCARD_DEFAULT;
    return avcodec_open2(decoder.get(), codec, nullptr) >= 0 ? std::move(decoder) : nullptr;
}

// A file whose index is wrong yields no key picture, however many places it names. So many packets
// are some minutes of a recording, and so many bytes are read in a second or two.
constexpr int mostPackets = 20000;
constexpr std::int64_t mostBytes = std::int64_t{512} << 20;
// After a picture with errors, a better one is waited for so many packets.
constexpr int mostAfterFlawed = 300;

/** Decodes a file's video from the start until a picture serves. */
class PictureSearch
{
public:
    PictureSearch(std::unique_ptr<MediaInput> file, Pictures pictures)
        : input(std::move(file)), stream(input->videoStream())
    {
        if (stream == nullptr)
            return;
        for (unsigned i = 0; i < input->context().nb_streams; ++i) {
            if (input->context().streams[i] != stream)
                input->context().streams[i]->discard = AVDISCARD_ALL;
        }
        decoder = openDecoder(*stream, pictures);
    }

    /** The first clean picture; else, with `takeFlawed`, the first at all; else null. */
    Ffmpeg::FramePtr find(bool takeFlawed)
    {
        if (!decoder)
            return nullptr;
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        std::int64_t bytes = 0;
        int afterFlawed = 0;
        for (int i = 0; i < mostPackets && bytes < mostBytes && input->read(*packet); ++i) {
            bytes += packet->size;
            if (packet->stream_index == stream->index)
                avcodec_send_packet(decoder.get(), packet.get());
            av_packet_unref(packet.get());
            if (Ffmpeg::FramePtr frame = receiveClean())
                return frame;
            if (flawed && takeFlawed && ++afterFlawed > mostAfterFlawed)
                break;
        }
        avcodec_send_packet(decoder.get(), nullptr);
        if (Ffmpeg::FramePtr frame = receiveClean())
            return frame;
        return takeFlawed ? std::move(flawed) : nullptr;
    }

    Orientation orientation(const AVFrame &frame) const
    {
        const auto *ofStream = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
        if (ofStream != nullptr)
            return orientationFromMatrix(reinterpret_cast<const std::int32_t *>(ofStream));
        const AVFrameSideData *ofFrame =
            av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
        return ofFrame != nullptr
                   ? orientationFromMatrix(reinterpret_cast<const std::int32_t *>(ofFrame->data))
                   : Orientation();
    }

private:
    Ffmpeg::FramePtr receiveClean()
    {
        for (;;) {
            Ffmpeg::FramePtr frame = Ffmpeg::makeFrame();
            if (avcodec_receive_frame(decoder.get(), frame.get()) < 0)
                return nullptr;
            if (isClean(*frame))
                return frame;
            if (!flawed)
                flawed = std::move(frame);
        }
    }

    std::unique_ptr<MediaInput> input;
    const AVStream *stream;
    Ffmpeg::CodecContextPtr decoder;
    Ffmpeg::FramePtr flawed;
};

Ffmpeg::FramePtr makePicture(int width, int height)
{
    Ffmpeg::FramePtr picture = Ffmpeg::makeFrame();
    picture->format = AV_PIX_FMT_YUV420P;
    picture->color_range = AVCOL_RANGE_JPEG;
    picture->width = width;
    picture->height = height;
    if (av_frame_get_buffer(picture.get(), 0) < 0)
        throw std::bad_alloc();
    return picture;
}

/** The coefficients that the picture's colours were made with, as far as it says; else a guess. */
const int *colourCoefficients(const AVFrame &picture)
{
    constexpr int leastHighDefinitionHeight = 720;
    if (picture.colorspace != AVCOL_SPC_UNSPECIFIED)
        return sws_getCoefficients(picture.colorspace);
    return sws_getCoefficients(picture.height >= leastHighDefinitionHeight ? SWS_CS_ITU709
                                                                           : SWS_CS_ITU601);
}

/** Scales to the given size and to the colours of JPEG. */
Ffmpeg::FramePtr scalePicture(const AVFrame &source, int width, int height)
{
    Ffmpeg::FramePtr target = makePicture(width, height);
    const Ffmpeg::SwsPtr scaler(sws_alloc_context());
    if (!scaler)
        throw std::bad_alloc();
    // The ranges are set before the initialisation: it chooses its way through the scaler by them.
    const int sourceIsFullRange = source.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    const std::pair<const char *, std::int64_t> settings[] = {
        {"srcw", source.width},           {"srch", source.height}, {"src_format", source.format},
        {"src_range", sourceIsFullRange}, {"dstw", width},         {"dsth", height},
        {"dst_format", target->format},   {"dst_range", 1},        {"sws_flags", SWS_AREA},
    };
    for (const auto &[name, value] : settings)
        av_opt_set_int(scaler.get(), name, value, 0);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0)
        throw EngineError(ErrorCode::NoPicture, "The video's pixels have an unknown layout.");
    sws_setColorspaceDetails(scaler.get(), colourCoefficients(source), sourceIsFullRange,
                             sws_getCoefficients(SWS_CS_ITU601), 1, 0, 1 << 16, 1 << 16);
    if (sws_scale(scaler.get(), source.data, source.linesize, 0, source.height, target->data,
                  target->linesize) != height)
        throw EngineError(ErrorCode::NoPicture, "The video's first picture cannot be scaled.");
    return target;
}

Ffmpeg::FramePtr turnPicture(const Orientation &orientation, Ffmpeg::FramePtr source)
{
    if (orientation.isUpright())
        return source;
    Ffmpeg::FramePtr target = orientation.swapSides ? makePicture(source->height, source->width)
                                                    : makePicture(source->width, source->height);
    for (int plane = 0; plane < 3; ++plane) {
        // The colour planes have half the size, rounded up.
        const int shift = plane == 0 ? 0 : 1;
        turnPlane(orientation, source->data[plane], source->linesize[plane],
                  AV_CEIL_RSHIFT(source->width, shift), AV_CEIL_RSHIFT(source->height, shift),
                  target->data[plane], target->linesize[plane]);
    }
    return target;
}

Ffmpeg::PacketPtr encodeJpeg(AVFrame &picture)
{
    const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const Ffmpeg::CodecContextPtr encoder(avcodec_alloc_context3(codec));
    if (!encoder)
        throw std::bad_alloc();
    encoder->width = picture.width;
    encoder->height = picture.height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->color_range = AVCOL_RANGE_JPEG;
    encoder->time_base = {1, 1};
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * jpegQuantiser;
    picture.quality = encoder->global_quality;
    Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0 ||
        avcodec_send_frame(encoder.get(), &picture) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        throw EngineError(ErrorCode::Internal, "The picture cannot be compressed.");
    return packet;
}

void writeWhole(const AVPacket &packet, const std::string &path, const std::string &videoPath)
{
    AsideFile aside(path, videoPath);
    std::ofstream file(pathFromUtf8(aside.path()), std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(packet.data), packet.size);
    file.close();
    if (!file)
        throw EngineError(ErrorCode::OutputNotWritten, "The picture cannot be written: " + path);
    aside.publish();
}

struct FoundPicture
{
    Ffmpeg::FramePtr frame;
    Orientation orientation;
};

/**
 * Key pictures first; some recordings mark none, and of some no picture is without error.
 */
FoundPicture findPicture(const std::string &videoPath)
{
    struct Wish
    {
        Pictures pictures;
        bool takeFlawed;
    };
    const auto ways = waysToOpen(SourceFile(videoPath));
    bool isOpen = false;
    for (const Wish &wish : {Wish{Pictures::KeyOnly, false}, Wish{Pictures::All, true}}) {
        for (const OpenInput open : ways) {
            auto input = open(videoPath);
            if (!input)
                continue;
            isOpen = true;
            PictureSearch search(std::move(input), wish.pictures);
            if (Ffmpeg::FramePtr frame = search.find(wish.takeFlawed)) {
                const Orientation orientation = search.orientation(*frame);
                return {std::move(frame), orientation};
            }
        }
    }
    // Says why it cannot be opened.
    if (!isOpen)
        MediaInput{videoPath};
    throw EngineError(ErrorCode::NoPicture, "No picture of the video can be decoded: " + videoPath);
}

} // namespace

void writeFirstPicture(const std::string &videoPath, const std::string &photoPath, int scale)
{
    const FoundPicture found = findPicture(videoPath);
    const AVFrame &frame = *found.frame;
    Ffmpeg::FramePtr picture =
        scalePicture(frame, std::max(frame.width / scale, 1), std::max(frame.height / scale, 1));
    picture = turnPicture(found.orientation, std::move(picture));
    writeWhole(*encodeJpeg(*picture), photoPath, videoPath);
}
