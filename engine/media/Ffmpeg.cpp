#include "engine/media/Ffmpeg.h"

#include "engine/log/LogLine.h"

#include <array>
#include <new>

namespace {

void writeMessage(void *context, int level, const char *format, va_list arguments)
{
    if (level > AV_LOG_WARNING)
        return;
    std::array<char, 1024> text = {};
    int printPrefix = 1;
    av_log_format_line2(context, level, format, arguments, text.data(),
                        static_cast<int>(text.size()), &printPrefix);
    // A damaged file makes the libraries complain a lot: worth a line only when asked for.
    tarn_log_write(TarnLogDebug, text.data());
}

} // namespace

Ffmpeg::PacketPtr Ffmpeg::makePacket()
{
    PacketPtr packet(av_packet_alloc());
    if (!packet)
        throw std::bad_alloc();
    return packet;
}

Ffmpeg::FramePtr Ffmpeg::makeFrame()
{
    FramePtr frame(av_frame_alloc());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

std::string Ffmpeg::errorText(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text = {};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

std::string Ffmpeg::fileUrl(const std::string &path)
{
    return "file:" + path;
}

void Ffmpeg::routeMessages()
{
    av_log_set_callback(writeMessage);
}
