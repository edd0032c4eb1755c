#include "engine/Utf8Path.h"
#include "engine/media/UnfinishedNote.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <string>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

/** No path is longer, in UTF-8. */
constexpr DWORD longestText = 32767 * 3;

fs::path notesFolder()
{
    std::array<wchar_t, MAX_PATH + 1> folder = {};
    const DWORD length = GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
    return length == 0 || length >= folder.size() ? fs::path()
                                                  : fs::path(folder.data()) / "vellumix-unfinished";
}

/** The path that a note holds; empty when it is no path of an unfinished file. */
fs::path readNote(HANDLE note)
{
    std::string text(longestText, '\0');
    DWORD size = 0;
    if (ReadFile(note, text.data(), longestText, &size, nullptr) == 0)
        return {};
    text.resize(size);
    const fs::path file = pathFromUtf8(text);
    return file.is_absolute() && UnfinishedNote::isUnfinishedName(file.filename()) ? file
                                                                                   : fs::path();
}

/** Nothing is left of the file, and that is not for its drive being away. */
bool isGone(const fs::path &file)
{
    if (file.empty() || DeleteFileW(file.c_str()) != 0)
        return true;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND ||
           (error == ERROR_PATH_NOT_FOUND &&
            GetFileAttributesW(file.root_path().c_str()) != INVALID_FILE_ATTRIBUTES);
}

void removeIfAbandoned(const fs::path &path)
{
    // A living writer shares its note with nobody.
    const HANDLE note = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (note == INVALID_HANDLE_VALUE)
        return;
    if (isGone(readNote(note)))
        DeleteFileW(path.c_str());
    CloseHandle(note);
}

} // namespace

UnfinishedNote::UnfinishedNote(const fs::path &file) : handle(INVALID_HANDLE_VALUE)
{
    static std::atomic<unsigned> counter = 0;
    std::error_code error;
    const fs::path folder = notesFolder();
    fs::create_directories(folder, error);
    // An earlier process of that number may have a note here.
    do {
        const fs::path name =
            std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter);
        handle = CreateFileW((folder / name).c_str(), GENERIC_WRITE | DELETE, 0, nullptr,
                             CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    } while (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS);
    const std::string text = utf8FromPath(file);
    DWORD written = 0;
    if (handle != INVALID_HANDLE_VALUE)
        WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

UnfinishedNote::~UnfinishedNote()
{
    if (handle == INVALID_HANDLE_VALUE)
        return;
    FILE_DISPOSITION_INFO removal = {TRUE};
    SetFileInformationByHandle(handle, FileDispositionInfo, &removal, sizeof removal);
    CloseHandle(handle);
}

void UnfinishedNote::leave()
{
    if (handle != INVALID_HANDLE_VALUE)
        CloseHandle(std::exchange(handle, INVALID_HANDLE_VALUE));
}

void UnfinishedNote::removeAbandoned()
{
    std::error_code error;
    fs::directory_iterator entry(notesFolder(), error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
        removeIfAbandoned(entry->path());
}

bool UnfinishedNote::isUnfinishedName(const fs::path &name)
{
    const std::wstring &text = name.native();
    return text.starts_with(L".vellumix-") && text.ends_with(L".part");
}
