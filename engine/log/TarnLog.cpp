#include "engine/log/TarnLog.h"

#include "engine/Utf8Path.h"
#include "engine/log/LogFile.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestText = 16384;

struct Log
{
    std::mutex mutex;
    LogFile file;
    TarnLogLevel level = TarnLogInfo;
};

// Never destroyed: threads may still write while the process ends.
Log &log()
{
    static auto *instance = new Log;
    return *instance;
}

std::string timeStamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    std::tm local = {};
#ifdef _WIN32
    localtime_s(&local, &seconds);
#else
    localtime_r(&seconds, &local);
#endif
    char text[32] = {};
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(milliseconds));
    return text;
}

const char *levelName(TarnLogLevel level)
{
    switch (level) {
    case TarnLogDebug:
        return "DEBUG";
    case TarnLogInfo:
        return "INFO";
    case TarnLogWarn:
        return "WARN";
    case TarnLogError:
        break;
    }
    return "ERROR";
}

} // namespace

void tarn_log_open(const char *directory, unsigned long long limitBytes)
{
    const std::lock_guard lock(log().mutex);
    const fs::path folder = pathFromUtf8(directory);
    const fs::path path = folder / "RepairService.log";
    std::error_code error;
    fs::create_directories(folder, error);
    if (const auto size = fs::file_size(path, error); !error && size > limitBytes)
        fs::rename(path, folder / "RepairService.old.log", error);
    log().file.open(path);
}

void tarn_log_set_level(TarnLogLevel level)
{
    const std::lock_guard lock(log().mutex);
    log().level = level;
}

void tarn_log_write(TarnLogLevel level, const char *text)
{
    const std::lock_guard lock(log().mutex);
    if (!log().file.isOpen() || level < log().level)
        return;
    std::string message = std::string(text).substr(0, longestText);
    std::replace_if(
        message.begin(), message.end(), [](unsigned char c) { return c < ' '; }, ' ');
    log().file.append(timeStamp() + " [" + levelName(level) +
                      "] [pid=" + std::to_string(processId()) + "] " + message);
}
