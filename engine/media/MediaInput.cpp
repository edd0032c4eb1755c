#include "engine/media/MediaInput.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"

#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

// The containers that people bring, and the raw streams that are left of some. What else the
// libraries know (play lists, image patterns) would open further files at the word of a damaged
// one.
constexpr const char *containers =
    "mov,mp4,m4a,3gp,3g2,mj2,avi,matroska,webm,mpegts,mpeg,mpegvideo,flv,live_flv,asf,asf_o,mxf,"
    "rm,swf,gxf,wtv,nut,ogg,ivf,dv,h264,hevc,m4v,mjpeg,mjpeg_2000,obu,av1,vc1,aac,mp3,wav,ac3,flac";

// After this many errors in a row without a packet in between, nothing more is to come.
constexpr int mostErrors = 4096;

void requireReadable(const std::string &path)
{
    namespace fs = std::filesystem;
    const fs::path file = pathFromUtf8(path);
    std::error_code error;
    if (!fs::is_regular_file(file, error) || !std::ifstream(file, std::ios::binary))
        throw EngineError(ErrorCode::FileNotReadable, "The file cannot be opened: " + path);
}

/** Packets are found by an index: one that cannot be read says nothing of the next. */
bool hasIndex(const AVFormatContext &input)
{
    return std::string_view(input.iformat->name).starts_with("mov,");
}

} // namespace

MediaInput::MediaInput(const std::string &path)
{
    requireReadable(path);
    AVDictionary *options = nullptr;
    av_dict_set(&options, "format_whitelist", containers, 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext *opened = nullptr;
    const int result =
        avformat_open_input(&opened, Ffmpeg::fileUrl(path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0)
        throw EngineError(ErrorCode::NotRecognised, "The file cannot be read as a video (" +
                                                        Ffmpeg::errorText(result) + "): " + path);
    input.reset(opened);
    // What it cannot find out stays unknown; the packets may be readable all the same.
    avformat_find_stream_info(opened, nullptr);
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
