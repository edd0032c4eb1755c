#include "tests/corpus/Pictures.h"

extern "C" {
#include <libavformat/avformat.h>
}

PictureCount countPictures(const QString &path)
{
    PictureCount count;
    AVFormatContext *input = nullptr;
    if (avformat_open_input(&input, ("file:" + path.toStdString()).c_str(), nullptr, nullptr) < 0)
        return count;
    const int video = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    AVPacket *packet = av_packet_alloc();
    while (video >= 0 && av_read_frame(input, packet) >= 0) {
        if (packet->stream_index == video) {
            ++count.all;
            count.hidden += (packet->flags & AV_PKT_FLAG_DISCARD) != 0 ? 1 : 0;
        }
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&input);
    return count;
}
