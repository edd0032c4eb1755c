#include "engine/log/LogFile.h"

#include <windows.h>

#include <utility>

// With the right to append alone, the system itself puts each piece at the end.
void LogFile::open(const std::filesystem::path &path)
{
    close();
    handle = CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        handle = nullptr;
}

bool LogFile::isOpen() const
{
    return handle != nullptr;
}

void LogFile::append(std::string line)
{
    line += "\r\n";
    DWORD written = 0;
    WriteFile(handle, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void LogFile::close()
{
    if (isOpen())
        CloseHandle(std::exchange(handle, nullptr));
}

long long processId()
{
    return GetCurrentProcessId();
}
