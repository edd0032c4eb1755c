#include "engine/media/FfmpegRepair.h"

#include "engine/EngineError.h"
#include "engine/media/AsideFile.h"
#include "engine/media/MediaOutput.h"
#include "engine/media/ReadBack.h"
#include "engine/transport/TransportScan.h"

#include <set>
#include <vector>

namespace {

TrackKind kindOf(const AVCodecParameters &parameters)
{
    return parameters.codec_type == AVMEDIA_TYPE_VIDEO   ? TrackKind::Video
           : parameters.codec_type == AVMEDIA_TYPE_AUDIO ? TrackKind::Audio
                                                         : TrackKind::Other;
}

RepairReport streamsOf(const AVFormatContext &input)
{
    RepairReport report;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const AVCodecParameters &parameters = *input.streams[i]->codecpar;
        report.tracks.push_back(
            {.kind = kindOf(parameters), .codec = avcodec_get_name(parameters.codec_id)});
    }
    return report;
}

/** Length that the header of a frame of AAC states; 0 when there is none. */
int statedAacLength(const AVPacket &packet)
{
    constexpr int header = 7;
    if (packet.size < header || packet.data[0] != 0xff || (packet.data[1] & 0xf6U) != 0xf0)
        return 0;
    return static_cast<int>((packet.data[3] & 0x03U) << 11U |
                            static_cast<unsigned>(packet.data[4]) << 3U | packet.data[5] >> 5U);
}

/** Of plain sound that is cut off, leaves the samples that are whole. False where there is none. */
bool keepWholeSamples(AVPacket &packet, const AVStream &stream)
{
    const AVCodecParameters &parameters = *stream.codecpar;
    if (av_get_exact_bits_per_sample(parameters.codec_id) == 0 || parameters.block_align <= 0 ||
        packet.size < parameters.block_align)
        return false;
    av_shrink_packet(&packet, packet.size - packet.size % parameters.block_align);
    packet.flags &= ~AV_PKT_FLAG_CORRUPT;
    return true;
}

/** Knows which packets of a transport stream are parts; of other containers, nothing. */
class PartFilter
{
public:
    PartFilter(const MediaInput &input, const std::string &path)
    {
        if (const int size = input.transportPacketSize(); size > 0)
            scan = scanTransport(SourceFile(path), size);
    }

    /** Known to lack pieces in its middle, or some at its end. */
    bool isPart(const AVPacket &packet, const AVStream &stream) const
    {
        const int stated =
            stream.codecpar->codec_id == AV_CODEC_ID_AAC ? statedAacLength(packet) : 0;
        if (stated > 0 && packet.size < stated)
            return true;
        // A packet of sound holds several frames, of which most are whole.
        const auto broken = scan.broken.find(stream.id);
        return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && broken != scan.broken.end() &&
               broken->second.contains(packet.pos);
    }

    /** Pieces of the stream's last packet are missing. */
    bool endsInPart(const AVPacket &last, const AVStream &stream) const
    {
        const bool saysItself =
            stream.codecpar->codec_id == AV_CODEC_ID_AAC && statedAacLength(last) == last.size;
        return scan.unfinished.contains(stream.id) && !saysItself;
    }

private:
    TransportScan scan;
};

class PacketCopy
{
public:
    PacketCopy(MediaInput &from, MediaOutput &to, const std::string &path)
        : input(from), output(to), filter(from, path), report(streamsOf(from.context()))
    {
    }

    RepairReport run()
    {
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        while (input.read(*packet)) {
            take(*packet);
            av_packet_unref(packet.get());
        }
        // Of each stream the last has been held back.
        for (std::size_t i = 0; i < held.size(); ++i) {
            if (held[i] && held[i]->data != nullptr && !filter.endsInPart(*held[i], streamOf(i)))
                write(*held[i], i);
        }
        report.streamsLeftOut = static_cast<int>(leftOut.size());
        return std::move(report);
    }

private:
    const AVStream &streamOf(std::size_t index) const { return *input.context().streams[index]; }

    void take(AVPacket &packet)
    {
        const auto index = static_cast<std::size_t>(packet.stream_index);
        // Some readers find further streams as they go.
        if (index >= report.tracks.size())
            report.tracks.resize(index + 1);
        ++report.tracks[index].found;
        if (!output.takes(packet.stream_index)) {
            leftOut.insert(packet.stream_index);
            return;
        }
        // Half a packet at the place of the damage would come out as a broken picture.
        const bool isPart =
            input.isIncomplete(packet) && !keepWholeSamples(packet, streamOf(index));
        if (isPart || filter.isPart(packet, streamOf(index)))
            return;
        if (input.statesPacketSizes()) {
            write(packet, index);
            return;
        }
        if (held.size() <= index)
            held.resize(index + 1);
        if (!held[index])
            held[index] = Ffmpeg::makePacket();
        if (held[index]->data != nullptr)
            write(*held[index], index);
        av_packet_unref(held[index].get());
        av_packet_move_ref(held[index].get(), &packet);
    }

    void write(AVPacket &packet, std::size_t index)
    {
        report.tracks[index].kept += output.write(packet) ? 1 : 0;
    }

    MediaInput &input;
    MediaOutput &output;
    PartFilter filter;
    RepairReport report;
    std::set<int> leftOut;
    std::vector<Ffmpeg::PacketPtr> held;
};

} // namespace

RepairReport repairWithFfmpeg(MediaInput &input, const std::string &damagedPath,
                              const std::string &outputPath)
{
    const auto writer = writerFor(input.context(), outputPath);
    if (!writer)
        throw EngineError(ErrorCode::ContainerNotWritable,
                          std::string("Files of this kind can be read but not written: ") +
                              input.context().iformat->long_name);

    AsideFile aside(outputPath, damagedPath);
    MediaOutput output(input, aside.path(), *writer);
    RepairReport report = PacketCopy(input, output, damagedPath).run();
    report.container = *writer;
    if (report.kept() == 0)
        throw EngineError(ErrorCode::NothingReadable,
                          "Nothing in the file can be read any more: " + damagedPath);
    output.finish();
    readBack(aside.path(), output.written());
    aside.publish();
    return report;
}
