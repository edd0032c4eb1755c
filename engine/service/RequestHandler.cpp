#include "engine/service/RequestHandler.h"

#include "engine/Utf8Path.h"
#include "engine/advanced/AdvancedRepair.h"
#include "engine/log/LogLine.h"
#include "engine/media/Ffmpeg.h"
#include "engine/media/FirstPicture.h"
#include "engine/media/QuickRepair.h"
#include "engine/media/VideoInfo.h"
#include "engine/service/Request.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <new>
#include <system_error>

namespace {

using Json = nlohmann::json;

template <typename Value>
void setIfKnown(Json &json, const char *key, const std::optional<Value> &value)
{
    if (value)
        json[key] = *value;
}

Json answerMetadata(const Request &request)
{
    const VideoInfo info = describeFile(request.video);
    Json keys = {{"size", info.size}};
    setIfKnown(keys, "container", info.container);
    setIfKnown(keys, "codec", info.codec);
    setIfKnown(keys, "width", info.width);
    setIfKnown(keys, "height", info.height);
    setIfKnown(keys, "video_frame_rate", info.frameRate);
    setIfKnown(keys, "video_avg_bitrate", info.bitRate);
    setIfKnown(keys, "make", info.make);
    setIfKnown(keys, "model", info.model);
    setIfKnown(keys, "source", info.source);
    const char *message = info.width ? "The video's parameters have been read."
                                     : "Nothing in the file tells the video's parameters.";
    return {{"video_info", keys}, {"message", message}};
}

Json answerFirstPicture(const Request &request)
{
    writeFirstPicture(request.video, request.photoPath, request.scale);
    return {{"message", "The first picture has been written."}};
}

const char *nameOf(TrackKind kind)
{
    switch (kind) {
    case TrackKind::Video:
        return "video";
    case TrackKind::Audio:
        return "audio";
    case TrackKind::Other:
        break;
    }
    return "other";
}

Json jsonOf(const RepairReport &report, const std::string &sentence)
{
    Json tracks = Json::array();
    for (const TrackReport &track : report.tracks) {
        Json gaps = Json::array();
        for (const Gap &gap : track.gaps)
            gaps.push_back({{"from", gap.from}, {"to", gap.to}});
        tracks.push_back({{"kind", nameOf(track.kind)},
                          {"codec", track.codec},
                          {"found", track.found},
                          {"kept", track.kept},
                          {"lost", track.lost()},
                          {"gaps", gaps}});
    }
    return {{"container", report.container}, {"tracks", tracks}, {"summary", sentence}};
}

Json answerQuickRepair(const Request &request)
{
    const RepairReport report = quickRepair(request.video, request.outFilePath);
    const std::string sentence = sentenceOf(report);
    return {{"message", sentence}, {"report", jsonOf(report, sentence)}};
}

Json answerAdvancedRepair(const Request &request)
{
    const RepairReport report =
        advancedRepair(request.video, request.samplePath, request.outFilePath);
    const std::string sentence = sentenceOf(report);
    return {{"message", sentence}, {"report", jsonOf(report, sentence)}};
}

/** Bytes; 0 for a file that is not there. */
std::uint64_t sizeOf(const std::string &path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(pathFromUtf8(path), error);
    return error ? 0 : size;
}

Json answerTo(const Request &request)
{
    Ffmpeg::boundMemory(std::max(sizeOf(request.video), sizeOf(request.samplePath)));
    switch (request.method) {
    case Method::QuickRepair:
        return answerQuickRepair(request);
    case Method::FirstPicture:
        return answerFirstPicture(request);
    case Method::Metadata:
        return answerMetadata(request);
    case Method::AdvancedRepair:
        return answerAdvancedRepair(request);
    }
    throw EngineError(ErrorCode::UnknownMethod, "There is no such method.");
}

Json answerOrFailure(const std::string &line, int &function)
{
    try {
        const Request request = parseRequest(line);
        function = static_cast<int>(request.method);
        Json answer = answerTo(request);
        answer["err_code"] = static_cast<int>(ErrorCode::None);
        return answer;
    } catch (const std::exception &error) {
        const Failure failure = failureFor(error);
        return {{"err_code", static_cast<int>(failure.code)}, {"message", failure.sentence}};
    }
}

} // namespace

std::string handleRequest(const std::string &line)
{
    int function = -1;
    Json answer = answerOrFailure(line, function);
    answer["function"] = function;
    // Tags of a damaged file may hold anything: what is no UTF-8 is replaced.
    std::string text = answer.dump(-1, ' ', false, Json::error_handler_t::replace);
    logLine(answer["err_code"] == 0 ? TarnLogInfo : TarnLogWarn, "answer " + text);
    return text;
}

Failure failureFor(const std::exception &error)
{
    if (const auto *own = dynamic_cast<const EngineError *>(&error))
        return {.code = own->code(), .sentence = own->what()};
    if (dynamic_cast<const std::bad_alloc *>(&error) != nullptr)
        return {.code = ErrorCode::OutOfMemory,
                .sentence = "There is not enough memory for this file. Close other programs and "
                            "try again."};
    return {.code = ErrorCode::Internal,
            .sentence = std::string("The service failed in itself: ") + error.what()};
}
