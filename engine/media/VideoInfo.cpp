#include "engine/media/VideoInfo.h"

#include "engine/device/AviDevice.h"
#include "engine/device/IsoDevice.h"
#include "engine/device/MatroskaDevice.h"
#include "engine/media/Containers.h"
#include "engine/media/MendedInput.h"

#include <array>
#include <utility>

namespace {

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

std::optional<double> frameRate(const MediaInput &input, const AVStream &stream)
{
    // Of raw streams nothing states a rate but the pictures themselves, where they do.
    constexpr double lowest = 0.01;
    constexpr double highest = 1000;
    for (const AVRational rate :
         {input.isRaw() ? AVRational{0, 1} : stream.avg_frame_rate, stream.r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0 && av_q2d(rate) >= lowest && av_q2d(rate) <= highest)
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

/** Tags of the file before those of its video, and of each the more particular name first. */
std::optional<DeviceName> firstTag(const AVFormatContext &file, const AVStream *stream,
                                   const std::array<const char *, 3> &names)
{
    const std::pair<const AVDictionary *, const char *> places[] = {
        {file.metadata, "of the file"},
        {stream != nullptr ? stream->metadata : nullptr, "of the video track"}};
    for (const auto &[tags, owner] : places) {
        for (const char *name : names) {
            const AVDictionaryEntry *tag = av_dict_get(tags, name, nullptr, 0);
            if (tag == nullptr)
                continue;
            if (auto value = deviceName(tag->value, std::string("tag \"") + name + "\" " + owner))
                return value;
        }
    }
    return std::nullopt;
}

Device readDevice(const SourceFile &source)
{
    if (isAvi(source) || mayBeAvi(source))
        return readAviDevice(source);
    if (mayBeMatroska(source))
        return readMatroskaDevice(source);
    if (mayBeIso(source) && !mayBeFlv(source))
        return readIsoDevice(source);
    return {};
}

/** As FFmpeg's reader tells it, for containers whose structures we do not read ourselves. */
Device deviceByTags(const MediaInput &input)
{
    const AVFormatContext &file = input.context();
    const AVStream *stream = input.videoStream();
    return {.make = firstTag(file, stream, {"com.apple.quicktime.make", "make", "manufacturer"}),
            .model = firstTag(file, stream, {"com.apple.quicktime.model", "model", "device"})};
}

void setDevice(VideoInfo &info, const Device &device)
{
    if (device.make) {
        info.make = device.make->value;
        info.source = device.make->source;
    }
    if (device.model) {
        info.model = device.model->value;
        info.source =
            info.source ? *info.source + ", " + device.model->source : device.model->source;
    }
}

void setVideo(VideoInfo &info, const MediaInput &input)
{
    const AVStream *stream = input.videoStream();
    if (stream == nullptr)
        return;
    const AVCodecParameters &parameters = *stream->codecpar;
    info.codec = codecName(parameters.codec_id);
    if (parameters.width > 0 && parameters.height > 0) {
        info.width = parameters.width;
        info.height = parameters.height;
    }
    info.frameRate = frameRate(input, *stream);
    if (!input.isRaw())
        info.bitRate = bitRate(input.context(), *stream);
}

std::optional<std::string> containerOf(const MediaInput &input)
{
    const std::string name = input.context().iformat->name;
    return input.isRaw() ? std::nullopt : std::optional(name.substr(0, name.find(',')));
}

} // namespace

VideoInfo describeFile(const std::string &path)
{
    const SourceFile source(path);
    VideoInfo info;
    info.container = containerOf(source);
    info.size = source.size();
    Device device = readDevice(source);
    for (const auto &open : waysToOpen(source)) {
        const auto input = open(path);
        if (!input)
            continue;
        device.complete(deviceByTags(*input));
        if (!info.container)
            info.container = containerOf(*input);
        setVideo(info, *input);
        if (info.width)
            break;
    }
    setDevice(info, device);
    return info;
}
