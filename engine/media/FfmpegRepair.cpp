#include "engine/media/FfmpegRepair.h"

#include "engine/EngineError.h"
#include "engine/avi/AviPadding.h"
#include "engine/device/AviDevice.h"
#include "engine/log/LogLine.h"
#include "engine/media/AsideFile.h"
#include "engine/media/ClockMender.h"
#include "engine/media/MediaOutput.h"
#include "engine/media/ReadBack.h"
#include "engine/recording/PacketContent.h"
#include "engine/recording/Progress.h"
#include "engine/transport/TransportScan.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <vector>

namespace {

TrackKind kindOf(const AVCodecParameters &parameters)
{
    return parameters.codec_type == AVMEDIA_TYPE_VIDEO   ? TrackKind::Video
           : parameters.codec_type == AVMEDIA_TYPE_AUDIO ? TrackKind::Audio
                                                         : TrackKind::Other;
}

/** What damage to the packets of a stream can be told by. */
PacketContent::Kind contentOf(const MediaInput &input, const AVCodecParameters &parameters)
{
    // Streams of marks may be filled up with zeros.
    if (!input.statesPacketSizes())
        return {};
    switch (parameters.codec_id) {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
        return {.impossibleZeros = PacketContent::zerosInPicture, .mayBePadded = true};
    case AV_CODEC_ID_MPEG4:
        return {.impossibleZeros = PacketContent::zerosInOldPicture, .mayBePadded = true};
    case AV_CODEC_ID_MJPEG:
        return {.impossibleZeros = PacketContent::zerosInOldPicture, .hasJpegHeader = true};
    case AV_CODEC_ID_AAC:
        return {.impossibleZeros = PacketContent::zerosInSound};
    default:
        return {};
    }
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

    bool knowsOfParts() const { return !scan.broken.empty(); }

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

/** Finds the spans of time in which one stream lacks packets. Times are the stream's own. */
class GapFinder
{
public:
    void lose(const AVPacket &packet)
    {
        const std::int64_t time = timeOf(packet);
        if (!lostFrom)
            lostFrom = time != AV_NOPTS_VALUE ? std::optional(time) : due;
        ++lostSeen;
        if (time != AV_NOPTS_VALUE)
            due = time + lengthOf(packet);
    }

    /** @param findsJumps times that jump tell of packets that were never seen */
    void keep(const AVPacket &packet, bool findsJumps, const AVStream &stream, TrackReport &report)
    {
        const std::int64_t time = timeOf(packet);
        if (time == AV_NOPTS_VALUE)
            return;
        const std::int64_t length = lengthOf(packet);
        const bool isJump = findsJumps && dueAfterKept && length > 0 &&
                            isShort(time, *dueAfterKept, stream) &&
                            time - *dueAfterKept > length / 2;
        if (lostFrom)
            add(std::min(*lostFrom, isJump ? *dueAfterKept : *lostFrom), time, stream, report);
        else if (isJump)
            add(*dueAfterKept, time, stream, report);
        if (isJump)
            // At the pace of this one.
            report.found +=
                std::max<std::int64_t>((time - *dueAfterKept + length / 2) / length - lostSeen, 0);
        takeStep(last ? time - *last : 0);
        lostFrom.reset();
        lostSeen = 0;
        last = time;
        due = dueAfterKept = time + lengthOf(packet);
    }

    void end(const AVStream &stream, TrackReport &report)
    {
        if (lostFrom && due)
            add(*lostFrom, *due, stream, report);
    }

private:
    /** Shorter than where a clock is set anew. */
    static bool isShort(std::int64_t time, std::int64_t from, const AVStream &stream)
    {
        constexpr double longest = static_cast<double>(ClockMender::largestStep) / AV_TIME_BASE;
        const double step = static_cast<double>(time) - static_cast<double>(from);
        return std::abs(step) * av_q2d(stream.time_base) < longest;
    }

    /** As the packet says; else as it is from packet to packet. */
    std::int64_t lengthOf(const AVPacket &packet) const
    {
        constexpr std::int64_t longest = std::int64_t{1} << 60;
        return packet.duration > 0 ? std::min(packet.duration, longest) : usualStep;
    }

    void takeStep(std::int64_t step)
    {
        if (step > usualStep / 2)
            usualStep = usualStep > 0 ? std::min(usualStep, step) : step;
    }

    // Decode times: they grow from packet to packet.
    static std::int64_t timeOf(const AVPacket &packet)
    {
        // Of damaged files, any number: sums of these must be numbers.
        constexpr std::int64_t latest = std::int64_t{1} << 60;
        const std::int64_t time = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
        return time != AV_NOPTS_VALUE ? std::clamp(time, -latest, latest) : time;
    }

    static void add(std::int64_t from, std::int64_t to, const AVStream &stream, TrackReport &report)
    {
        const std::int64_t start = stream.start_time != AV_NOPTS_VALUE ? stream.start_time : 0;
        const double unit = av_q2d(stream.time_base);
        if (to > from && report.gaps.size() < TrackReport::mostGaps)
            report.gaps.push_back({.from = static_cast<double>(from - start) * unit,
                                   .to = static_cast<double>(to - start) * unit});
    }

    std::optional<std::int64_t> lostFrom;
    /** Lost packets since the last that is kept. */
    std::int64_t lostSeen = 0;
    std::optional<std::int64_t> last;
    /** When the next one is to be expected: after any packet, and after one that is kept. */
    std::optional<std::int64_t> due;
    std::optional<std::int64_t> dueAfterKept;
    std::int64_t usualStep = 0;
};

class PacketCopy
{
public:
    PacketCopy(MediaInput &from, MediaOutput &to, const std::string &path, Damage damage)
        : input(from),
          output(to),
          filter(from, path),
          findsJumps(damage == Damage::Known || filter.knowsOfParts()),
          report(streamsOf(from.context())),
          progress("copied", input.size())
    {
    }

    RepairReport run()
    {
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        while (input.read(*packet)) {
            progress.reach(static_cast<std::uint64_t>(std::max<std::int64_t>(packet->pos, 0)));
            take(*packet);
            av_packet_unref(packet.get());
        }
        // Of each stream the last has been held back.
        for (std::size_t i = 0; i < held.size(); ++i) {
            if (held[i] && held[i]->data != nullptr)
                takeLast(*held[i], i);
        }
        for (std::size_t i = 0; i < gaps.size(); ++i)
            gaps[i].end(streamOf(i), report.tracks[i]);
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
        gaps.resize(report.tracks.size());
        ++report.tracks[index].found;
        if (!output.takes(packet.stream_index)) {
            leftOut.insert(packet.stream_index);
            return;
        }
        if (isLost(packet, streamOf(index))) {
            gaps[index].lose(packet);
            return;
        }
        gaps[index].keep(packet, findsJumps, streamOf(index), report.tracks[index]);
        if (input.statesPacketSizes())
            write(packet, index);
        else
            hold(packet, index);
    }

    bool isLost(AVPacket &packet, const AVStream &stream) const
    {
        // Half a packet at the place of the damage would come out as a broken picture.
        const bool isPart = input.isIncomplete(packet) && !keepWholeSamples(packet, stream);
        // Empty ones stand where packets are lost.
        const bool isEmpty = findsJumps && packet.size == 0;
        return isPart || isEmpty || filter.isPart(packet, stream) ||
               PacketContent::isOverwritten({packet.data, static_cast<std::size_t>(packet.size)},
                                            contentOf(input, *stream.codecpar));
    }

    /** Whether it is the last one of its stream, the next will tell. */
    void hold(AVPacket &packet, std::size_t index)
    {
        if (held.size() <= index)
            held.resize(index + 1);
        if (!held[index])
            held[index] = Ffmpeg::makePacket();
        if (held[index]->data != nullptr)
            write(*held[index], index);
        av_packet_unref(held[index].get());
        av_packet_move_ref(held[index].get(), &packet);
    }

    void takeLast(AVPacket &packet, std::size_t index)
    {
        if (filter.endsInPart(packet, streamOf(index)))
            gaps[index].lose(packet);
        else
            write(packet, index);
    }

    void write(AVPacket &packet, std::size_t index)
    {
        report.tracks[index].kept += output.write(packet) ? 1 : 0;
    }

    MediaInput &input;
    MediaOutput &output;
    PartFilter filter;
    bool findsJumps;
    RepairReport report;
    Progress progress;
    std::set<int> leftOut;
    std::vector<Ffmpeg::PacketPtr> held;
    std::vector<GapFinder> gaps;
};

} // namespace

RepairReport repairWithFfmpeg(MediaInput &input, const std::string &damagedPath,
                              const std::string &outputPath, Damage damage)
{
    const auto writer = writerFor(input.context(), outputPath);
    if (!writer)
        throw EngineError(ErrorCode::ContainerNotWritable,
                          std::string("Files of this kind can be read but not written: ") +
                              input.context().iformat->long_name);

    // FFmpeg's writer knows no place for the device in AVI.
    const Bytes device = *writer == "avi" ? aviDeviceList(SourceFile(damagedPath)) : Bytes();
    AsideFile aside(outputPath, damagedPath);
    MediaOutput output(input, aside.path(), *writer, paddingFor(device));
    RepairReport report = PacketCopy(input, output, damagedPath, damage).run();
    report.container = *writer;
    if (report.kept() == 0)
        throw EngineError(ErrorCode::NothingReadable,
                          "Nothing in the file can be read any more: " + damagedPath);
    const std::vector<WrittenStream> written = output.finish();
    if (!device.empty() && !putIntoPadding(aside.path(), device))
        logLine(TarnLogWarn, "there is no room for the device's name");
    readBack(aside.path(), written);
    aside.publish();
    return report;
}
