#include "workflow/SameFile.h"

#include "app/LongPath.h"

#include <qt_windows.h>

#include <optional>
#include <tuple>

namespace {

using FileId = std::tuple<DWORD, DWORD, DWORD>;

std::optional<FileId> fileId(const QString &path)
{
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file =
        CreateFileW(reinterpret_cast<const wchar_t *>(longPath(path).utf16()), FILE_READ_ATTRIBUTES,
                    shareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return {};
    BY_HANDLE_FILE_INFORMATION information = {};
    const bool isKnown = GetFileInformationByHandle(file, &information) != 0;
    CloseHandle(file);
    if (!isKnown)
        return {};
    return FileId{information.dwVolumeSerialNumber, information.nFileIndexHigh,
                  information.nFileIndexLow};
}

} // namespace

bool isSameFile(const QString &one, const QString &other)
{
    const auto id = fileId(one);
    return id && id == fileId(other);
}
