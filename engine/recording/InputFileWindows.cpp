#include "engine/recording/InputFile.h"

#include "engine/Utf8Path.h"

#include <windows.h>

// The C library's own way to ask does not know the long form of a path.
bool isReadableFile(const std::string &path)
{
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    // A folder cannot be opened so; a device can.
    const HANDLE file = CreateFileW(pathFromUtf8(path).c_str(), GENERIC_READ, shareAll, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const bool isOnDisk = GetFileType(file) == FILE_TYPE_DISK;
    CloseHandle(file);
    return isOnDisk;
}
