#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

/** Owners of what FFmpeg's libraries allocate, and their texts. */
namespace Ffmpeg {

template <auto Free>
struct Deleter
{
    template <typename T>
    void operator()(T *object) const
    {
        Free(&object);
    }
};

struct SwsDeleter
{
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};

struct IoDeleter
{
    void operator()(AVIOContext *context) const
    {
        av_freep(&context->buffer);
        avio_context_free(&context);
    }
};

using IoPtr = std::unique_ptr<AVIOContext, IoDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, Deleter<av_packet_free>>;
using FramePtr = std::unique_ptr<AVFrame, Deleter<av_frame_free>>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, Deleter<avcodec_free_context>>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, Deleter<avcodec_parameters_free>>;
using InputPtr = std::unique_ptr<AVFormatContext, Deleter<avformat_close_input>>;
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;

/** Throw std::bad_alloc when there is no memory. */
PacketPtr makePacket();
FramePtr makeFrame();

/** What an error code of the libraries means, in English. */
std::string errorText(int code);

/** A local file as the libraries take it: no name is ever read as a protocol or a pattern. */
std::string fileUrl(const std::string &path);

/**
 * From here on, no piece of memory that the libraries take is larger than a large picture needs, or
 * than files of so many bytes may need. Tables of damaged files may claim any length, and are
 * believed.
 */
void boundMemory(std::uint64_t fileSize);

/** Sends the libraries' own messages to the service's log. */
void routeMessages();

} // namespace Ffmpeg
