#include "engine/media/AsideFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"

#include <windows.h>

#include <io.h>

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

// Open files of the C library: their numbers end below this one.
constexpr int firstOwnFile = 3;
constexpr int mostFiles = 2048;

EngineError notWritten(const fs::path &path)
{
    return {ErrorCode::OutputNotWritten, "The output cannot be written (Windows error " +
                                             std::to_string(GetLastError()) +
                                             "): " + utf8FromPath(path)};
}

HANDLE openToCompare(const fs::path &path)
{
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, shareAll, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

bool isSameFile(const fs::path &first, const fs::path &second)
{
    const HANDLE a = openToCompare(first);
    const HANDLE b = openToCompare(second);
    BY_HANDLE_FILE_INFORMATION aInfo = {};
    BY_HANDLE_FILE_INFORMATION bInfo = {};
    const bool areKnown =
        GetFileInformationByHandle(a, &aInfo) != 0 && GetFileInformationByHandle(b, &bInfo) != 0;
    for (const HANDLE handle : {a, b}) {
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
    }
    return areKnown && aInfo.dwVolumeSerialNumber == bInfo.dwVolumeSerialNumber &&
           aInfo.nFileIndexHigh == bInfo.nFileIndexHigh &&
           aInfo.nFileIndexLow == bInfo.nFileIndexLow;
}

/** Makes a file; opens nothing that somebody has put there, links included. */
bool createNew(const fs::path &path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) != 0;
}

} // namespace

// A file without a name is nothing that this system knows: from the beginning it has the hidden
// one. Whoever writes it does so by that name, and nothing else holds it open.
AsideFile::AsideFile(const std::string &path, const std::string &inputPath)
    : finalPath(pathFromUtf8(path))
{
    const fs::path hiddenName = ".vellumix-" + std::to_string(GetCurrentProcessId()) + ".part";
    writePath = utf8FromPath(pathFromUtf8(path, PathForm::AsGiven).parent_path() / hiddenName);
    hiddenPath = pathFromUtf8(writePath);
    if (isSameFile(finalPath, pathFromUtf8(inputPath)))
        throw EngineError(ErrorCode::BadRequest,
                          "The output would replace the video itself: " + inputPath);
    const std::lock_guard lock(registry().mutex);
    // A process that was killed may have left one; numbers of processes come again soon.
    if (!createNew(hiddenPath) && (DeleteFileW(hiddenPath.c_str()) == 0 || !createNew(hiddenPath)))
        throw notWritten(finalPath);
    isNamed = true;
    registry().names.insert(hiddenPath);
}

AsideFile::~AsideFile()
{
    const std::lock_guard lock(registry().mutex);
    if (registry().names.erase(hiddenPath) > 0)
        DeleteFileW(hiddenPath.c_str());
}

void AsideFile::publish()
{
    const std::lock_guard lock(registry().mutex);
    if (MoveFileExW(hiddenPath.c_str(), finalPath.c_str(), MOVEFILE_REPLACE_EXISTING) == 0)
        throw notWritten(finalPath);
    registry().names.erase(hiddenPath);
}

void AsideFile::removeAllForEnd()
{
    registry().mutex.lock();
    if (registry().names.empty())
        return;
    // The system removes no file that is open in a way that does not allow for it, which is how
    // the C library opens all of them. Nothing will be written any more, to whichever file.
    for (int file = firstOwnFile; file < mostFiles; ++file) {
        if (_get_osfhandle(file) != -1)
            _close(file);
    }
    for (const fs::path &name : registry().names)
        DeleteFileW(name.c_str());
}
