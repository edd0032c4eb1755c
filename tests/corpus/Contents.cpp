#include "tests/corpus/Contents.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/murmur3.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace {

// Samples of plain sound that are looked at together.
constexpr int samplesPerPiece = 64;

double secondsOf(std::int64_t stamp, AVRational base)
{
    return stamp == AV_NOPTS_VALUE ? std::numeric_limits<double>::quiet_NaN()
                                   : static_cast<double>(stamp) * av_q2d(base);
}

bool isPlainSound(const AVCodecParameters &parameters)
{
    return parameters.codec_id >= AV_CODEC_ID_PCM_S16LE &&
           parameters.codec_id < AV_CODEC_ID_ADPCM_IMA_QT;
}

void addPacket(Contents::Stream &stream, const AVPacket &packet, const AVStream &source)
{
    Contents::Packet found = {.shown = secondsOf(packet.pts, source.time_base),
                              .decoded = secondsOf(packet.dts, source.time_base),
                              .place = packet.pos,
                              .size = packet.size};
    if (!isPlainSound(*source.codecpar)) {
        found.hash = hashOf(packet.data, static_cast<std::size_t>(packet.size));
        stream.packets.push_back(found);
        return;
    }
    const int piece = samplesPerPiece * av_get_bits_per_sample(source.codecpar->codec_id) / 8 *
                      source.codecpar->ch_layout.nb_channels;
    const double length =
        static_cast<double>(samplesPerPiece) / static_cast<double>(source.codecpar->sample_rate);
    for (int start = 0; start + piece <= packet.size; start += piece) {
        found.hash = hashOf(packet.data + start, static_cast<std::size_t>(piece));
        found.size = piece;
        // Not every coding of it is silent at zero.
        found.isSilence = std::all_of(
            packet.data + start, packet.data + start + piece,
            [silent = packet.data[start]](std::uint8_t byte) { return byte == silent; });
        stream.packets.push_back(found);
        found.place += piece;
        found.shown += length;
        found.decoded += length;
    }
}

} // namespace

std::uint64_t hashOf(const std::uint8_t *data, std::size_t size)
{
    static const std::unique_ptr<AVMurMur3, decltype(&av_free)> state(av_murmur3_alloc(), av_free);
    std::array<std::uint8_t, 16> hash = {};
    av_murmur3_init(state.get());
    av_murmur3_update(state.get(), data, size);
    av_murmur3_final(state.get(), hash.data());
    std::uint64_t number = 0;
    std::memcpy(&number, hash.data(), sizeof number);
    return number;
}

Contents readContents(const QString &path)
{
    Contents contents;
    AVFormatContext *input = nullptr;
    if (avformat_open_input(&input, ("file:" + path.toStdString()).c_str(), nullptr, nullptr) < 0)
        return contents;
    avformat_find_stream_info(input, nullptr);
    contents.format = QString::fromLatin1(input->iformat->name);
    contents.isInterleaved = (input->iformat->flags & AVFMT_TS_DISCONT) != 0;
    AVPacket *packet = av_packet_alloc();
    while (av_read_frame(input, packet) >= 0) {
        contents.streams.resize(input->nb_streams);
        const auto index = static_cast<std::size_t>(packet->stream_index);
        addPacket(contents.streams[index], *packet, *input->streams[index]);
        av_packet_unref(packet);
    }
    contents.streams.resize(input->nb_streams);
    for (std::size_t i = 0; i < contents.streams.size(); ++i) {
        const AVCodecParameters &parameters = *input->streams[i]->codecpar;
        contents.streams[i].codec = avcodec_get_name(parameters.codec_id);
        contents.streams[i].kind = parameters.codec_type == AVMEDIA_TYPE_VIDEO   ? 'v'
                                   : parameters.codec_type == AVMEDIA_TYPE_AUDIO ? 'a'
                                                                                 : 'd';
    }
    av_packet_free(&packet);
    avformat_close_input(&input);
    return contents;
}
