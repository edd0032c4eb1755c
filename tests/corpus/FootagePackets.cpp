#include "tests/corpus/FootagePackets.h"

#include "engine/media/Ffmpeg.h"

extern "C" {
#include <libavutil/md5.h>
}

#include <array>
#include <functional>
#include <optional>

namespace {

Ffmpeg::InputPtr open(const QString &path)
{
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, ("file:" + path.toStdString()).c_str(), nullptr, nullptr) < 0)
        qFatal("FFmpeg does not open %s", qPrintable(path));
    Ffmpeg::InputPtr input(opened);
    avformat_find_stream_info(input.get(), nullptr);
    return input;
}

void forEachPacket(const QString &path, const QString &stream,
                   const std::function<void(const AVPacket &, AVRational base)> &look)
{
    const Ffmpeg::InputPtr input = open(path);
    const Ffmpeg::PacketPtr packet(av_packet_alloc());
    const QByteArray specifier = stream.toUtf8();
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        AVStream *source = input->streams[packet->stream_index];
        if (avformat_match_stream_specifier(input.get(), source, specifier.constData()) > 0)
            look(*packet, source->time_base);
        av_packet_unref(packet.get());
    }
}

std::optional<double> secondsOf(std::int64_t stamp, AVRational base)
{
    if (stamp == AV_NOPTS_VALUE)
        return {};
    return static_cast<double>(stamp) * av_q2d(base);
}

} // namespace

QStringList Footage::streams(const QString &path)
{
    const Ffmpeg::InputPtr input = open(path);
    QStringList texts;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVCodecParameters &parameters = *input->streams[i]->codecpar;
        texts.append(QStringLiteral("%1 %2 %3x%4 %5 Hz %6")
                         .arg(QString::fromLatin1(avcodec_get_name(parameters.codec_id)))
                         .arg(parameters.codec_type)
                         .arg(parameters.width)
                         .arg(parameters.height)
                         .arg(parameters.sample_rate)
                         .arg(parameters.ch_layout.nb_channels));
    }
    return texts;
}

QStringList Footage::packetHashes(const QString &path, const QString &stream)
{
    QStringList hashes;
    forEachPacket(path, stream, [&](const AVPacket &packet, AVRational) {
        std::array<char, 16> hash = {};
        av_md5_sum(reinterpret_cast<std::uint8_t *>(hash.data()), packet.data,
                   static_cast<std::size_t>(packet.size));
        hashes.append(QString::fromLatin1(
            QByteArray(hash.data(), static_cast<qsizetype>(hash.size())).toHex()));
    });
    return hashes;
}

QStringList Footage::packetTimes(const QString &path, const QString &stream)
{
    QStringList times;
    double origin = 0;
    const auto shown = [&](std::optional<double> seconds) {
        return seconds ? QString::number(qRound64((*seconds - origin) * 1000))
                       : QStringLiteral("unknown");
    };
    forEachPacket(path, stream, [&](const AVPacket &packet, AVRational base) {
        const auto pts = secondsOf(packet.pts, base);
        if (times.isEmpty())
            origin = pts.value_or(0);
        times.append(shown(pts) + QLatin1Char(',') + shown(secondsOf(packet.dts, base)));
    });
    return times;
}

QStringList Footage::decodeTimes(const QString &path, const QString &stream)
{
    QStringList times = packetTimes(path, stream);
    for (QString &time : times)
        time = time.section(QLatin1Char(','), 1);
    return times;
}

int Footage::packetsBefore(const QString &path, const QString &stream, qint64 end)
{
    int count = 0;
    forEachPacket(path, stream, [&](const AVPacket &packet, AVRational) {
        count += packet.pos + packet.size <= end ? 1 : 0;
    });
    return count;
}
