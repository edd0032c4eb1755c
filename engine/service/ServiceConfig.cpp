#include "engine/service/ServiceConfig.h"

#include <nlohmann/json.hpp>

#include <map>

namespace {

constexpr unsigned long long largestLogMiB = 1024;

const std::map<std::string, TarnLogLevel> &logLevels()
{
    static const std::map<std::string, TarnLogLevel> levels = {{"debug", TarnLogDebug},
                                                               {"info", TarnLogInfo},
                                                               {"warn", TarnLogWarn},
                                                               {"error", TarnLogError}};
    return levels;
}

} // namespace

ServiceConfig parseConfig(const std::string &text)
{
    ServiceConfig config;
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) {
        config.complaint = "the configuration is no JSON object";
        return config;
    }
    if (const auto level = json.find("logLevel"); level != json.end()) {
        if (level->is_string() && logLevels().contains(level->get<std::string>()))
            config.logLevel = logLevels().at(level->get<std::string>());
        else
            config.complaint = "logLevel is none of debug, info, warn, error";
    }
    if (const auto limit = json.find("logLimitMiB"); limit != json.end()) {
        if (limit->is_number_unsigned() && limit->get<unsigned long long>() <= largestLogMiB)
            config.logLimitMiB = limit->get<unsigned long long>();
        else
            config.complaint = "logLimitMiB is no whole number from 0 to 1024";
    }
    return config;
}
