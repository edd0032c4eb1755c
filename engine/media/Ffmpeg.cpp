#include "engine/media/Ffmpeg.h"

#include "engine/log/LogLine.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <limits>
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

void Ffmpeg::boundMemory(std::uint64_t fileSize)
{
    // A plane of 8192 x 8192 samples, which may have two bytes each, and what is around them.
    constexpr std::uint64_t largePicture = 160ULL << 20U;
    // An entry of a reader's index takes 24 bytes, and packets are seldom smaller than 16.
    constexpr std::uint64_t ofByte = 2;
    constexpr std::uint64_t most = std::numeric_limits<int>::max();
    av_max_alloc(static_cast<std::size_t>(
        std::clamp(std::min(fileSize, most) * ofByte, largePicture, most)));
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
