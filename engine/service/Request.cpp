#include "engine/service/Request.h"

#include "engine/EngineError.h"

#include <nlohmann/json.hpp>

#include <limits>

namespace {

using Json = nlohmann::json;

std::string textOf(const Json &json, const char *key)
{
    const auto it = json.find(key);
    if (it == json.end() || !it->is_string() || it->get_ref<const std::string &>().empty())
        throw EngineError(ErrorCode::BadRequest,
                          std::string("The request lacks the text \"") + key + "\".");
    return it->get<std::string>();
}

int numberOf(const Json &json, const char *key)
{
    const auto it = json.find(key);
    if (it == json.end() || !it->is_number_integer() ||
        it->get<std::int64_t>() > std::numeric_limits<int>::max() ||
        it->get<std::int64_t>() < std::numeric_limits<int>::min())
        throw EngineError(ErrorCode::BadRequest,
                          std::string("The request lacks the whole number \"") + key + "\".");
    return it->get<int>();
}

} // namespace

Request parseRequest(const std::string &line)
{
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object())
        throw EngineError(ErrorCode::BadRequest, "The request is no JSON object.");

    Request request;
    const int method = numberOf(json, "method");
    request.method = static_cast<Method>(method);
    switch (request.method) {
    case Method::AdvancedRepair:
        request.samplePath = textOf(json, "samplePath");
        [[fallthrough]];
    case Method::QuickRepair:
        request.video = textOf(json, "damagedPath");
        request.outFilePath = textOf(json, "outFilePath");
        return request;
    case Method::FirstPicture:
        request.video = textOf(json, "videoPath");
        request.photoPath = textOf(json, "photoPath");
        request.scale = numberOf(json, "scale");
        if (request.scale < 1)
            throw EngineError(ErrorCode::BadRequest, "The picture's scale must be at least 1.");
        return request;
    case Method::Metadata:
        request.video = textOf(json, "videoPath");
        return request;
    }
    throw EngineError(ErrorCode::UnknownMethod,
                      "There is no method " + std::to_string(method) + ".");
}
