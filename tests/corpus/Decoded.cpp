#include "tests/corpus/Decoded.h"

#include "tests/corpus/Contents.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

namespace {

std::uint64_t lookOf(const AVFrame &frame)
{
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const int size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(std::max(size, 0)));
    av_image_copy_to_buffer(pixels.data(), size, frame.data, frame.linesize, format, frame.width,
                            frame.height, 1);
    return hashOf(pixels.data(), pixels.size());
}

std::int64_t countOf(const DecodedPictures &pictures)
{
    return std::accumulate(
        pictures.begin(), pictures.end(), std::int64_t{0},
        [](std::int64_t sum, const auto &picture) { return sum + picture.second; });
}

/** What is in both. */
DecodedPictures common(const DecodedPictures &one, const DecodedPictures &other)
{
    DecodedPictures both;
    for (const auto &[look, count] : one) {
        const auto found = other.find(look);
        if (found != other.end())
            both[look] = std::min(count, found->second);
    }
    return both;
}

/** A file that is read, and the decoder of its first video. */
class VideoDecoder
{
public:
    explicit VideoDecoder(const QString &path)
    {
        AVFormatContext *opened = nullptr;
        if (avformat_open_input(&opened, ("file:" + path.toStdString()).c_str(), nullptr, nullptr) <
            0)
            return;
        input.reset(opened);
        avformat_find_stream_info(opened, nullptr);
        const AVCodec *codec = nullptr;
        video = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
        if (video < 0)
            return;
        decoder.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder.get(), opened->streams[video]->codecpar);
        decoder->thread_count = 1;
        if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
            decoder.reset();
    }

    DecodedPictures run(const PacketFilter &keeps)
    {
        while (decoder && av_read_frame(input.get(), packet.get()) >= 0) {
            if (packet->stream_index == video && (!keeps || keeps(packet->pos, packet->size)))
                decode(packet.get());
            av_packet_unref(packet.get());
        }
        if (decoder)
            decode(nullptr);
        return std::move(pictures);
    }

private:
    /** What cannot be decoded shows nothing: no failure is one of the test's. */
    void decode(const AVPacket *bytes)
    {
        avcodec_send_packet(decoder.get(), bytes);
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
            ++pictures[lookOf(*frame)];
            av_frame_unref(frame.get());
        }
    }

    template <typename Object, void (*free)(Object **)>
    struct Free
    {
        void operator()(Object *object) const { free(&object); }
    };

    std::unique_ptr<AVFormatContext, Free<AVFormatContext, avformat_close_input>> input;
    std::unique_ptr<AVCodecContext, Free<AVCodecContext, avcodec_free_context>> decoder;
    std::unique_ptr<AVPacket, Free<AVPacket, av_packet_free>> packet{av_packet_alloc()};
    std::unique_ptr<AVFrame, Free<AVFrame, av_frame_free>> frame{av_frame_alloc()};
    int video = -1;
    DecodedPictures pictures;
};

} // namespace

DecodedPictures decodedPictures(const QString &path, const PacketFilter &keeps)
{
    return VideoDecoder(path).run(keeps);
}

DecodedScore decodedScoreOf(const QString &original, const DamagedFile &damaged,
                            const QString &output)
{
    // One recording is damaged in many ways.
    static std::map<QString, DecodedPictures> shownUndamaged;
    auto known = shownUndamaged.find(original);
    if (known == shownUndamaged.end())
        known = shownUndamaged.emplace(original, decodedPictures(original)).first;
    const DecodedPictures &all = known->second;
    const DecodedPictures possible =
        common(all, decodedPictures(original, [&damaged](std::int64_t place, std::int64_t size) {
                   return damaged.survives(place, size);
               }));
    return {.all = countOf(all),
            .possible = countOf(possible),
            .shown = countOf(common(possible, decodedPictures(output)))};
}
