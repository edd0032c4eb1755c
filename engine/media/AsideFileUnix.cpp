#include "engine/media/AsideFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>

namespace {

namespace fs = std::filesystem;

struct Registry
{
    std::mutex mutex;
    /** Hidden names that exist. */
    std::set<fs::path> names;
};

// Never destroyed: a thread may end the process while another still writes.
Registry &registry()
{
    static auto *instance = new Registry;
    return *instance;
}

constexpr mode_t outputMode = 0666;

EngineError notWritten(const fs::path &path)
{
    return {ErrorCode::OutputNotWritten, std::string("The output cannot be written (") +
                                             std::strerror(errno) + "): " + utf8FromPath(path)};
}

void requireOtherFile(const fs::path &output, const fs::path &input)
{
    std::error_code error;
    if (fs::equivalent(output, input, error))
        throw EngineError(ErrorCode::BadRequest,
                          "The output would replace the video itself: " + utf8FromPath(input));
}

} // namespace

AsideFile::AsideFile(const std::string &path, const std::string &inputPath)
    : finalPath(pathFromUtf8(path)),
      hiddenPath(finalPath.parent_path() / (".vellumix-" + std::to_string(getpid()) + ".part"))
{
    requireOtherFile(finalPath, pathFromUtf8(inputPath));
    const std::lock_guard lock(registry().mutex);
    const fs::path folder = finalPath.parent_path();
    descriptor =
        open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, outputMode);
    if (descriptor < 0 && (errno == EOPNOTSUPP || errno == EISDIR)) {
        // EXCL: nothing that somebody has put there is opened, links included.
        descriptor = open(hiddenPath.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, outputMode);
        isNamed = descriptor >= 0;
    }
    if (descriptor < 0)
        throw notWritten(finalPath);
    if (isNamed)
        registry().names.insert(hiddenPath);
    writePath = "/proc/self/fd/" + std::to_string(descriptor);
}

AsideFile::~AsideFile()
{
    const std::lock_guard lock(registry().mutex);
    if (registry().names.erase(hiddenPath) > 0)
        unlink(hiddenPath.c_str());
    close(descriptor);
}

void AsideFile::publish()
{
    const std::lock_guard lock(registry().mutex);
    // A name can be given to the file only where there is none yet; an earlier output is then
    // replaced in one step.
    if (!isNamed) {
        if (linkat(AT_FDCWD, writePath.c_str(), AT_FDCWD, hiddenPath.c_str(), AT_SYMLINK_FOLLOW) !=
            0)
            throw notWritten(finalPath);
        isNamed = true;
        registry().names.insert(hiddenPath);
    }
    if (rename(hiddenPath.c_str(), finalPath.c_str()) != 0)
        throw notWritten(finalPath);
    registry().names.erase(hiddenPath);
}

void AsideFile::removeAllForEnd()
{
    registry().mutex.lock();
    for (const fs::path &name : registry().names)
        unlink(name.c_str());
}
