#include "engine/service/ProcessWatch.h"

#include <windows.h>

#include <tlhelp32.h>

#include <array>

namespace {

HANDLE client = nullptr;
HANDLE endWanted = nullptr;

DWORD parentId()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return 0;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more != 0 && found == 0;
         more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ProcessID == GetCurrentProcessId())
            found = entry.th32ParentProcessID;
    }
    CloseHandle(snapshot);
    return found;
}

ULONGLONG startOf(HANDLE process)
{
    FILETIME created = {};
    FILETIME unused = {};
    if (GetProcessTimes(process, &created, &unused, &unused, &unused) == 0)
        return 0;
    return (static_cast<ULONGLONG>(created.dwHighDateTime) << 32U) | created.dwLowDateTime;
}

/** The process that started this one; null when it has ended or may not be looked at. */
HANDLE openParent()
{
    const HANDLE parent =
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, parentId());
    // Its number may have been given to another meanwhile, which is younger than this process.
    if (parent != nullptr && startOf(parent) > startOf(GetCurrentProcess())) {
        CloseHandle(parent);
        return nullptr;
    }
    return parent;
}

/** Called by the system on a thread of its own. */
BOOL WINAPI whenAskedToEnd(DWORD /*kind*/)
{
    SetEvent(endWanted);
    // For some kinds the system ends the process as soon as this returns: it ends itself first.
    Sleep(INFINITE);
    return TRUE;
}

} // namespace

void ProcessWatch::prepare()
{
    // Nobody sits before a service: no box tells of a drive that is away, and a crash is an end.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    endWanted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(whenAskedToEnd, TRUE);
    client = openParent();
}

const char *ProcessWatch::waitForEnd()
{
    const std::array<HANDLE, 2> handles = {endWanted, client};
    const DWORD count = client != nullptr ? 2 : 1;
    const DWORD which = WaitForMultipleObjects(count, handles.data(), FALSE, INFINITE);
    return which == WAIT_OBJECT_0 ? "asked to end" : "the client has ended";
}
