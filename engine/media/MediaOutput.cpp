#include "engine/media/MediaOutput.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/log/LogLine.h"

#include <cctype>
#include <cstring>
#include <new>

namespace {

// Size of a transport stream's packet with its arrival time before it.
constexpr int timedPacketSize = 192;

std::string lowerSuffix(const std::string &path)
{
    std::string suffix = utf8FromPath(pathFromUtf8(path).extension());
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return suffix;
}

bool isPictureOrSound(const AVCodecParameters &parameters)
{
    return parameters.codec_type == AVMEDIA_TYPE_VIDEO ||
           parameters.codec_type == AVMEDIA_TYPE_AUDIO;
}

bool canTake(const AVOutputFormat &format, const AVCodecParameters &parameters)
{
    return parameters.codec_id != AV_CODEC_ID_NONE &&
           avformat_query_codec(&format, parameters.codec_id, FF_COMPLIANCE_EXPERIMENTAL) != 0;
}

bool canTakePicturesAndSound(const AVFormatContext &input, const std::string &writer)
{
    const AVOutputFormat *format = av_guess_format(writer.c_str(), nullptr, nullptr);
    for (unsigned i = 0; format != nullptr && i < input.nb_streams; ++i) {
        const AVCodecParameters &parameters = *input.streams[i]->codecpar;
        if (isPictureOrSound(parameters) && !canTake(*format, parameters))
            return false;
    }
    return format != nullptr;
}

/** MP4 and its relatives: the brand in the file decides, the suffix where there is none. */
std::string isoWriter(const AVFormatContext &input, const std::string &outputPath)
{
    const AVDictionaryEntry *tag = av_dict_get(input.metadata, "major_brand", nullptr, 0);
    const std::string brand = tag != nullptr ? tag->value : "";
    if (brand.starts_with("qt") || (brand.empty() && lowerSuffix(outputPath) == ".mov"))
        return "mov";
    std::string writer = "mp4";
    if (brand.starts_with("3gp") || brand.starts_with("3g2"))
        writer = brand.substr(0, 3);
    return canTakePicturesAndSound(input, writer) ? writer : "mov";
}

/** The codec's four-letter code where the container knows it; else the writer chooses its own. */
unsigned tagFor(const AVOutputFormat &format, const AVCodecParameters &parameters)
{
    unsigned known = 0;
    if (format.codec_tag == nullptr ||
        av_codec_get_id(format.codec_tag, parameters.codec_tag) == parameters.codec_id ||
        av_codec_get_tag2(format.codec_tag, parameters.codec_id, &known) == 0)
        return parameters.codec_tag;
    return 0;
}

/** Frames of these are what time counts in, whatever their file calls a block. */
bool countsInFrames(AVCodecID codec)
{
    return codec == AV_CODEC_ID_AC3 || codec == AV_CODEC_ID_EAC3 || codec == AV_CODEC_ID_MP2 ||
           codec == AV_CODEC_ID_MP3;
}

int copyStream(const AVStream &source, AVStream &target, const AVOutputFormat &format)
{
    if (const int result = avcodec_parameters_copy(target.codecpar, source.codecpar); result < 0)
        return result;
    target.codecpar->codec_tag = tagFor(format, *source.codecpar);
    if (countsInFrames(source.codecpar->codec_id))
        target.codecpar->block_align = 0;
    target.time_base = source.time_base;
    target.avg_frame_rate = source.avg_frame_rate;
    target.r_frame_rate = source.r_frame_rate;
    target.sample_aspect_ratio = source.sample_aspect_ratio;
    target.disposition = source.disposition;
    for (int i = 0; i < source.nb_side_data; ++i) {
        const AVPacketSideData &data = source.side_data[i];
        if (std::uint8_t *copy = av_stream_new_side_data(&target, data.type, data.size))
            std::memcpy(copy, data.data, data.size);
    }
    return av_dict_copy(&target.metadata, source.metadata, 0);
}

void copyChapters(const AVFormatContext &source, AVFormatContext &target)
{
    if (source.nb_chapters == 0)
        return;
    target.chapters = static_cast<AVChapter **>(av_calloc(source.nb_chapters, sizeof(AVChapter *)));
    if (target.chapters == nullptr)
        throw std::bad_alloc();
    for (unsigned i = 0; i < source.nb_chapters; ++i) {
        auto *chapter = static_cast<AVChapter *>(av_mallocz(sizeof(AVChapter)));
        if (chapter == nullptr)
            throw std::bad_alloc();
        *chapter = *source.chapters[i];
        chapter->metadata = nullptr;
        av_dict_copy(&chapter->metadata, source.chapters[i]->metadata, 0);
        target.chapters[target.nb_chapters++] = chapter;
    }
}

EngineError notWritten(int code)
{
    return {ErrorCode::OutputNotWritten,
            "The output cannot be written (" + Ffmpeg::errorText(code) + ")."};
}

TimestampMender::Stream menderSettings(const AVStream &stream)
{
    const AVCodecParameters &parameters = *stream.codecpar;
    TimestampMender::Stream settings;
    settings.reorderDelay = parameters.video_delay;
    if (stream.avg_frame_rate.num > 0)
        settings.packetDuration =
            av_rescale_q(1, av_inv_q(stream.avg_frame_rate), stream.time_base);
    settings.mayRepeat =
        parameters.codec_type != AVMEDIA_TYPE_VIDEO && parameters.codec_type != AVMEDIA_TYPE_AUDIO;
    return settings;
}

std::optional<std::int64_t> knownStamp(std::int64_t stamp)
{
    return stamp != AV_NOPTS_VALUE ? std::optional(stamp) : std::nullopt;
}

} // namespace

std::optional<std::string> writerFor(const AVFormatContext &input, const std::string &outputPath)
{
    const std::string reader = input.iformat->name;
    std::string writer = reader.substr(0, reader.find(','));
    if (writer == "mov")
        writer = isoWriter(input, outputPath);
    else if (writer == "matroska" && lowerSuffix(outputPath) == ".webm")
        writer = "webm";
    else if (writer == "mpeg")
        writer = "vob";
    else if (writer == "mpegvideo")
        writer = "mpeg2video";
    else if (writer == "live_flv")
        writer = "flv";
    else if (writer == "aac")
        writer = "adts";
    if (av_guess_format(writer.c_str(), nullptr, nullptr) == nullptr)
        return std::nullopt;
    return writer;
}

MediaOutput::MediaOutput(const MediaInput &input, const std::string &outputPath,
                         const std::string &writerName, std::size_t padding)
    : path(outputPath),
      writer(writerName),
      headerPadding(padding),
      transportPacketSize(input.transportPacketSize())
{
    int result = open(input.context(), Streams::All);
    // Some writers refuse the whole file because of one stream of data that they do not know.
    if (result < 0 && result != AVERROR(ENOSPC) && result != AVERROR(EACCES))
        result = open(input.context(), Streams::PictureAndSound);
    if (result == AVERROR_STREAM_NOT_FOUND)
        throw EngineError(ErrorCode::ContainerNotWritable,
                          "None of the file's streams can be written to its container.");
    if (result < 0)
        throw notWritten(result);
}

MediaOutput::~MediaOutput()
{
    close();
}

int MediaOutput::open(const AVFormatContext &source, Streams streams)
{
    if (int result = avformat_alloc_output_context2(&output, nullptr, writer.c_str(),
                                                    Ffmpeg::fileUrl(path).c_str());
        result < 0)
        return result;
    output->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    // The writer's own choice is more than nothing.
    constexpr std::size_t usualPadding = 1016;
    if (headerPadding > usualPadding)
        output->metadata_header_padding = static_cast<int>(headerPadding);
    int result = addStreams(source, streams);
    if (result >= 0)
        result = avio_open(&output->pb, output->url, AVIO_FLAG_WRITE);
    if (result >= 0)
        result = writeHeader(source);
    if (result < 0)
        close();
    return result;
}

int MediaOutput::writeHeader(const AVFormatContext &source)
{
    av_dict_copy(&output->metadata, source.metadata, 0);
    copyChapters(source, *output);
    AVDictionary *options = nullptr;
    // MP4: keeps maker and model, which the writer otherwise drops.
    av_dict_set(&options, "movflags", "use_metadata_tags", 0);
    // Transport streams of discs and cameras carry four more bytes before each packet.
    if (transportPacketSize == timedPacketSize)
        av_dict_set(&options, "mpegts_m2ts_mode", "1", 0);
    const int result = avformat_write_header(output, &options);
    av_dict_free(&options);
    if (result < 0)
        return result;

    // The writer chooses the time bases with its header.
    menders.clear();
    written.clear();
    for (unsigned i = 0; i < output->nb_streams; ++i) {
        menders.emplace_back(menderSettings(*output->streams[i]));
        written.push_back({.kind = output->streams[i]->codecpar->codec_type});
    }
    if ((source.iformat->flags & AVFMT_TS_DISCONT) != 0)
        clock.emplace();
    return 0;
}

int MediaOutput::addStreams(const AVFormatContext &source, Streams streams)
{
    streamMap.assign(source.nb_streams, -1);
    sourceTimeBases.clear();
    for (unsigned i = 0; i < source.nb_streams; ++i) {
        const AVCodecParameters &parameters = *source.streams[i]->codecpar;
        if (!canTake(*output->oformat, parameters) ||
            (streams == Streams::PictureAndSound && !isPictureOrSound(parameters))) {
            logLine(TarnLogWarn, "stream " + std::to_string(i) + " left out");
            continue;
        }
        AVStream *target = avformat_new_stream(output, nullptr);
        if (target == nullptr)
            return AVERROR(ENOMEM);
        if (const int result = copyStream(*source.streams[i], *target, *output->oformat);
            result < 0)
            return result;
        streamMap[i] = target->index;
        sourceTimeBases.push_back(source.streams[i]->time_base);
    }
    return sourceTimeBases.empty() ? AVERROR_STREAM_NOT_FOUND : 0;
}

bool MediaOutput::takes(int inputStream) const
{
    const auto index = static_cast<std::size_t>(inputStream);
    return index < streamMap.size() && streamMap[index] >= 0;
}

void MediaOutput::mendTimes(AVPacket &packet, std::size_t index)
{
    constexpr AVRational microseconds = {1, AV_TIME_BASE};
    const std::int64_t known = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (clock && known != AV_NOPTS_VALUE) {
        const AVRational base = sourceTimeBases[index];
        const std::int64_t offset =
            av_rescale_q(clock->offsetFor(index, av_rescale_q(known, base, microseconds),
                                          av_rescale_q(packet.duration, base, microseconds)),
                         microseconds, base);
        packet.pts += packet.pts != AV_NOPTS_VALUE ? offset : 0;
        packet.dts += packet.dts != AV_NOPTS_VALUE ? offset : 0;
    }
    // In the output's own units: times that differ in finer ones may be equal in these.
    av_packet_rescale_ts(&packet, sourceTimeBases[index],
                         output->streams[packet.stream_index]->time_base);
    const auto stamps = menders[index].mend(
        {.presentation = knownStamp(packet.pts), .decode = knownStamp(packet.dts)},
        packet.duration);
    packet.pts = stamps.presentation.value_or(AV_NOPTS_VALUE);
    packet.dts = stamps.decode.value_or(AV_NOPTS_VALUE);
}

void MediaOutput::writeEmptyFirst(int index)
{
    const Ffmpeg::PacketPtr empty = Ffmpeg::makePacket();
    empty->stream_index = index;
    empty->pts = empty->dts = 0;
    empty->duration = 1;
    if (const int result = av_interleaved_write_frame(output, empty.get()); result < 0)
        throw notWritten(result);
}

bool MediaOutput::write(AVPacket &packet)
{
    packet.stream_index = streamMap[static_cast<std::size_t>(packet.stream_index)];
    packet.pos = -1;
    mendTimes(packet, static_cast<std::size_t>(packet.stream_index));
    WrittenStream &stream = written[static_cast<std::size_t>(packet.stream_index)];
    const WrittenStream::Times times =
        timesOf(packet, output->streams[packet.stream_index]->time_base);
    // FFmpeg's writer of AVI leaves no time before a first picture by itself.
    if (writer == "avi" && stream.kind == AVMEDIA_TYPE_VIDEO && stream.times.empty() &&
        packet.dts > 0)
        writeEmptyFirst(packet.stream_index);
    const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    // The writer takes the packet's bytes for its own, and gives none back that it refuses.
    stream.digest.addBytes({packet.data, static_cast<std::size_t>(packet.size)});
    const int result = av_interleaved_write_frame(output, &packet);
    if (output->pb->error < 0)
        throw notWritten(output->pb->error);
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    stream.isRefused = stream.isRefused || result < 0;
    if (result < 0)
        return false;
    stream.times.push_back(times);
    stream.keys.push_back(isKey);
    return true;
}

std::vector<WrittenStream> MediaOutput::finish()
{
    int result = av_write_trailer(output);
    if (result >= 0)
        result = avio_closep(&output->pb);
    close();
    if (result < 0)
        throw notWritten(result);
    return std::move(written);
}

void MediaOutput::close()
{
    if (output == nullptr)
        return;
    avio_closep(&output->pb);
    avformat_free_context(output);
    output = nullptr;
}
