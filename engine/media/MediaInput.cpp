#include "engine/media/MediaInput.h"

#include "engine/EngineError.h"
#include "engine/recording/InputFile.h"

#include <algorithm>
#include <new>
#include <string_view>

namespace {

// The containers that people bring, and the raw streams that are left of some. What else the
// libraries know (play lists, image patterns) would open further files at the word of a damaged
// one.
constexpr const char *containers =
    "mov,mp4,m4a,3gp,3g2,mj2,avi,matroska,webm,mpegts,mpeg,mpegvideo,flv,live_flv,asf,asf_o,mxf,"
    "rm,swf,gxf,wtv,nut,ogg,ivf,dv,h264,hevc,m4v,mjpeg,mjpeg_2000,obu,av1,vc1,aac,mp3,wav,ac3,flac";

// Pictures in a second: a rate that no video has.
constexpr const char *unknownRate = "1/1000";

// After this many errors in a row without a packet in between, nothing more is to come.
constexpr int mostErrors = 4096;

void requireReadable(const std::string &path)
{
    if (!isReadableFile(path))
        throw EngineError(ErrorCode::FileNotReadable, "The file cannot be opened: " + path);
}

/** Packets are found by an index: one that cannot be read says nothing of the next. */
bool hasIndex(const AVFormatContext &input)
{
    return std::string_view(input.iformat->name).starts_with("mov,");
}

int readPieces(void *opaque, std::uint8_t *target, int size)
{
    auto &reading = *static_cast<PiecesPlace *>(opaque);
    const std::size_t got =
        reading.file->read(reading.position, target, static_cast<std::size_t>(size));
    reading.position += got;
    return got > 0 ? static_cast<int>(got) : AVERROR_EOF;
}

std::int64_t seekPieces(void *opaque, std::int64_t offset, int whence)
{
    auto &reading = *static_cast<PiecesPlace *>(opaque);
    const auto size = static_cast<std::int64_t>(reading.file->size());
    if ((whence & AVSEEK_SIZE) != 0)
        return size;
    const std::int64_t from = whence == SEEK_CUR   ? static_cast<std::int64_t>(reading.position)
                              : whence == SEEK_END ? size
                                                   : 0;
    if (from + offset < 0)
        return AVERROR(EINVAL);
    reading.position = static_cast<std::uint64_t>(from + offset);
    return from + offset;
}

} // namespace

MediaInput::MediaInput(const std::string &path, TransportPackets transport)
{
    requireReadable(path);
    open(nullptr, nullptr, Ffmpeg::fileUrl(path), path, transport);
}

MediaInput::MediaInput(std::unique_ptr<PiecedFile> file, const char *reader)
    : pieced(std::move(file)), place(std::make_unique<PiecesPlace>())
{
    constexpr int bufferSize = 64 * 1024;
    place->file = pieced.get();
    auto *buffer = static_cast<unsigned char *>(av_malloc(bufferSize));
    if (buffer == nullptr)
        throw std::bad_alloc();
    reading.reset(
        avio_alloc_context(buffer, bufferSize, 0, place.get(), readPieces, nullptr, seekPieces));
    AVFormatContext *context = avformat_alloc_context();
    if (!reading || context == nullptr)
        throw std::bad_alloc();
    context->pb = reading.get();
    open(context, reader, pieced->damaged().path(), pieced->damaged().path(),
         TransportPackets::Parsed);
}

void MediaInput::open(AVFormatContext *context, const char *reader, const std::string &url,
                      const std::string &path, TransportPackets transport)
{
    AVDictionary *options = nullptr;
    av_dict_set(&options, "format_whitelist", containers, 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    // Raw streams of which nobody knows the rate would be said to have the usual one.
    if (reader != nullptr)
        av_dict_set(&options, "framerate", unknownRate, 0);
    const AVInputFormat *format = reader != nullptr ? av_find_input_format(reader) : nullptr;
    const int result = avformat_open_input(&context, url.c_str(), format, &options);
    av_dict_free(&options);
    if (result < 0)
        throw EngineError(ErrorCode::NotRecognised, "The file cannot be read as a video (" +
                                                        Ffmpeg::errorText(result) + "): " + path);
    input.reset(context);
    // Before the streams are looked for: a parser that has begun goes on.
    if (transport == TransportPackets::AsStored && transportPacketSize() > 0)
        context->flags |= AVFMT_FLAG_NOPARSE;
    // What it cannot find out stays unknown; the packets may be readable all the same.
    avformat_find_stream_info(context, nullptr);
}

std::uint64_t MediaInput::size() const
{
    return static_cast<std::uint64_t>(std::max<std::int64_t>(avio_size(input->pb), 0));
}

int MediaInput::transportPacketSize() const
{
    std::int64_t size = 0;
    // Only readers with a class of options may be asked for one.
    if (input->iformat->priv_class != nullptr)
        av_opt_get_int(input->priv_data, "ts_packetsize", 0, &size);
    return static_cast<int>(size);
}

bool MediaInput::read(AVPacket &packet)
{
    for (int errors = 0; errors < mostErrors; ++errors) {
        const int result = av_read_frame(input.get(), &packet);
        if (result >= 0)
            return true;
        atEnd = result == AVERROR_EOF;
        if (atEnd && !hasIndex(*input))
            return false;
    }
    return false;
}

bool MediaInput::statesPacketSizes() const
{
    // Those whose clock may start anew are streams of marks: transport and program streams.
    return (input->iformat->flags & AVFMT_TS_DISCONT) == 0;
}

bool MediaInput::isIncomplete(const AVPacket &packet) const
{
    return statesPacketSizes() && (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
}

const AVStream *MediaInput::videoStream() const
{
    const AVStream *cover = nullptr;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream *stream = input->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO ||
            stream->codecpar->codec_id == AV_CODEC_ID_NONE)
            continue;
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0)
            return stream;
        cover = cover != nullptr ? cover : stream;
    }
    return cover;
}
