#include "engine/media/VideoInfo.h"

#include <array>
#include <utility>

namespace {

// A tag of a damaged file may be of any length; a maker's name is not.
constexpr std::size_t longestTag = 256;

std::string codecName(AVCodecID codec)
{
    switch (codec) {
    case AV_CODEC_ID_H264:
        return "h264";
    case AV_CODEC_ID_HEVC:
        return "h265";
    case AV_CODEC_ID_MJPEG:
        return "mjpeg";
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG4:
        return "mpeg";
    default:
        return avcodec_get_name(codec);
    }
}

std::optional<double> frameRate(const AVStream &stream)
{
    for (const AVRational rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0)
            return av_q2d(rate);
    }
    return std::nullopt;
}

std::optional<std::int64_t> bitRate(const AVFormatContext &file, const AVStream &stream)
{
    if (stream.codecpar->bit_rate > 0)
        return stream.codecpar->bit_rate;
    if (file.bit_rate > 0)
        return file.bit_rate;
    return std::nullopt;
}

struct Tag
{
    std::string value;
    /** Its name, and whose it is. */
    std::string source;
};

/** Tags of the file before those of its video, and of each the more particular name first. */
std::optional<Tag> firstTag(const AVFormatContext &file, const AVStream *stream,
                            const std::array<const char *, 3> &names)
{
    const std::pair<const AVDictionary *, const char *> places[] = {
        {file.metadata, "of the file"},
        {stream != nullptr ? stream->metadata : nullptr, "of the video track"}};
    for (const auto &[tags, owner] : places) {
        for (const char *name : names) {
            const AVDictionaryEntry *tag = av_dict_get(tags, name, nullptr, 0);
            if (tag != nullptr && *tag->value != '\0')
                return Tag{.value = std::string(tag->value).substr(0, longestTag),
                           .source = std::string("tag \"") + name + "\" " + owner};
        }
    }
    return std::nullopt;
}

void setDevice(VideoInfo &info, const std::optional<Tag> &make, const std::optional<Tag> &model)
{
    if (make) {
        info.make = make->value;
        info.source = make->source;
    }
    if (model) {
        info.model = model->value;
        info.source = info.source ? *info.source + ", " + model->source : model->source;
    }
}

} // namespace

VideoInfo readVideoInfo(const MediaInput &input)
{
    VideoInfo info;
    const AVFormatContext &file = input.context();
    const AVStream *stream = input.videoStream();
    if (stream != nullptr) {
        const AVCodecParameters &parameters = *stream->codecpar;
        info.codec = codecName(parameters.codec_id);
        if (parameters.width > 0 && parameters.height > 0) {
            info.width = parameters.width;
            info.height = parameters.height;
        }
        info.frameRate = frameRate(*stream);
        info.bitRate = bitRate(file, *stream);
    }
    setDevice(info, firstTag(file, stream, {"com.apple.quicktime.make", "make", "manufacturer"}),
              firstTag(file, stream, {"com.apple.quicktime.model", "model", "device"}));
    return info;
}
