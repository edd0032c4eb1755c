#include "engine/media/AsideFile.h"

#include "engine/EngineError.h"

#include <mutex>
#include <set>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

struct Registry
{
    std::mutex mutex;
    std::set<fs::path> paths;
};

// Never destroyed: a thread may end the process while another still writes.
Registry &registry()
{
    static auto *instance = new Registry;
    return *instance;
}

fs::path fromUtf8(const std::string &text)
{
    return fs::path(reinterpret_cast<const char8_t *>(text.c_str()));
}

std::string toUtf8(const fs::path &path)
{
    const std::u8string text = path.u8string();
    return std::string(reinterpret_cast<const char *>(text.data()), text.size());
}

} // namespace

AsideFile::AsideFile(const std::string &path)
    : finalPath(fromUtf8(path)),
      asidePath(finalPath.parent_path() / (".vellumix-" + std::to_string(getpid()) + ".part"))
{
    const std::lock_guard lock(registry().mutex);
    registry().paths.insert(asidePath);
}

AsideFile::~AsideFile()
{
    const std::lock_guard lock(registry().mutex);
    std::error_code ignored;
    if (registry().paths.erase(asidePath) > 0)
        fs::remove(asidePath, ignored);
}

std::string AsideFile::path() const
{
    return toUtf8(asidePath);
}

void AsideFile::publish()
{
    const std::lock_guard lock(registry().mutex);
    std::error_code error;
    fs::rename(asidePath, finalPath, error);
    if (error)
        throw EngineError(ErrorCode::OutputNotWritten, "The output cannot be put in its place (" +
                                                           error.message() +
                                                           "): " + toUtf8(finalPath));
    registry().paths.erase(asidePath);
}

void AsideFile::removeAll()
{
    const std::lock_guard lock(registry().mutex);
    std::error_code ignored;
    for (const fs::path &path : registry().paths)
        fs::remove(path, ignored);
    registry().paths.clear();
}
