#include "engine/log/TarnLog.h"

#include "engine/Utf8Path.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestText = 16384;
// Wider than a line, so that each line reaches the file in one piece, also when several service
// processes write at once.
constexpr std::size_t bufferSize = 2 * longestText;

struct Log
{
    std::mutex mutex;
    std::FILE *file = nullptr;
    TarnLogLevel level = TarnLogInfo;
};

// Never destroyed: threads may still write while the process ends.
Log &log()
{
    static auto *instance = new Log;
    return *instance;
}

std::FILE *openForAppending(const fs::path &path)
{
#ifdef _WIN32
    return _wfopen(path.c_str(), L"ab");
#else
    return std::fopen(path.c_str(), "ae");
#endif
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
    if (log().file != nullptr)
        std::fclose(log().file);
    log().file = openForAppending(path);
    if (log().file != nullptr)
        std::setvbuf(log().file, nullptr, _IOFBF, bufferSize);
}

void tarn_log_set_level(TarnLogLevel level)
{
    const std::lock_guard lock(log().mutex);
    log().level = level;
}

void tarn_log_write(TarnLogLevel level, const char *text)
{
    const std::lock_guard lock(log().mutex);
    if (log().file == nullptr || level < log().level)
        return;
    std::string message = std::string(text).substr(0, longestText);
    std::replace_if(
        message.begin(), message.end(), [](unsigned char c) { return c < ' '; }, ' ');
    const std::string line = timeStamp() + " [" + levelName(level) +
                             "] [pid=" + std::to_string(getpid()) + "] " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), log().file);
    std::fflush(log().file);
}
