#include "engine/media/AsideFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/media/UnfinishedNote.h"

#include <windows.h>

#include <io.h>

#include <map>
#include <memory>
#include <mutex>

namespace {

namespace fs = std::filesystem;

struct Registry
{
    std::mutex mutex;
    /** Hidden names that exist, and what tells later services of each. */
    std::map<fs::path, std::unique_ptr<UnfinishedNote>> names;
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

constexpr int mostAttempts = 20;
constexpr DWORD attemptIntervalMs = 40;

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

/** False, with nothing changed, while somebody has one of the files open. */
bool moveIntoPlace(const fs::path &from, const fs::path &to)
{
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0)
        return true;
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)
        throw notWritten(to);
    return false;
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
    UnfinishedNote::removeAbandoned();
    const std::lock_guard lock(registry().mutex);
    auto note = std::make_unique<UnfinishedNote>(hiddenPath);
    // One that is left all the same: numbers of processes come again soon.
    if (!createNew(hiddenPath) && (DeleteFileW(hiddenPath.c_str()) == 0 || !createNew(hiddenPath)))
        throw notWritten(finalPath);
    isNamed = true;
    registry().names.emplace(hiddenPath, std::move(note));
}

AsideFile::~AsideFile()
{
    const std::lock_guard lock(registry().mutex);
    const auto entry = registry().names.find(hiddenPath);
    if (entry == registry().names.end())
        return;
    if (DeleteFileW(hiddenPath.c_str()) == 0 && GetLastError() != ERROR_FILE_NOT_FOUND)
        entry->second->leave();
    registry().names.erase(entry);
}

void AsideFile::publish()
{
    const std::lock_guard lock(registry().mutex);
    // What looks into new files, for what they might do or for words to find them by, holds them
    // open for a moment.
    for (int attempt = 1; !moveIntoPlace(hiddenPath, finalPath); ++attempt) {
        if (attempt == mostAttempts)
            throw notWritten(finalPath);
        Sleep(attemptIntervalMs);
    }
    registry().names.erase(hiddenPath);
}

void AsideFile::removeAllForEnd()
{
    registry().mutex.lock();
    if (registry().names.empty())
        return;
#ifdef _MSC_VER
    // Most numbers belong to no file, which is no mistake here.
    _set_thread_local_invalid_parameter_handler(
        [](const wchar_t *, const wchar_t *, const wchar_t *, unsigned, uintptr_t) {});
#endif
    // The system removes no file that is open in a way that does not allow for it, which is how
    // the C library opens all of them. Nothing will be written any more, to whichever file.
    for (int file = firstOwnFile; file < mostFiles; ++file) {
        if (_get_osfhandle(file) != -1)
            _close(file);
    }
    // The notes stay: a worker may be about to open its file, and makes it anew.
    for (const auto &[name, note] : registry().names)
        DeleteFileW(name.c_str());
}
