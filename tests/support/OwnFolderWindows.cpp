#include "tests/support/OwnFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <qt_windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr const char *programsVariable = "VELLUMIX_TEST_PROGRAMS";

[[noreturn]] void giveUp(const char *what)
{
    std::fprintf(stderr, "%s: error %lu\n", what, GetLastError());
    std::_Exit(1);
}

fs::path ownProgram()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

/** Runs the program with this process's own arguments to its end; its exit code. */
int runInstead(const fs::path &program)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process = {};
    std::wstring commandLine = GetCommandLineW();
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                       nullptr, &startup, &process) == 0)
        giveUp("CreateProcess");
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}

} // namespace

// A running program's file cannot be removed: the one that was started first waits for the other,
// and then removes the folder.
Testing::OwnFolder::OwnFolder(char * /*argv*/[])
{
    const fs::path program = ownProgram();
    if (qEnvironmentVariableIsSet(programsVariable)) {
        folder = program.parent_path().generic_string();
        return;
    }
    const fs::path programs = program.parent_path();
    fs::create_directories(programs / "folders");
    // Numbers of processes come again soon, and a folder may stay a moment longer than its program.
    fs::path own;
    for (int i = 0; own.empty() || !fs::create_directory(own); ++i)
        own = programs / "folders" /
              (std::to_string(GetCurrentProcessId()) + "-" + std::to_string(i));
    for (const fs::path &name :
         {program.filename(), fs::path("TarnCommunicationSDK.dll"), fs::path("TarnLogSDK.dll")})
        fs::create_hard_link(programs / name, own / name);
    SetEnvironmentVariableW(L"VELLUMIX_TEST_PROGRAMS", programs.generic_wstring().c_str());
    const int code = runInstead(own / program.filename());
    std::error_code ignored;
    fs::remove_all(own, ignored);
    std::_Exit(code);
}

Testing::OwnFolder::~OwnFolder() = default;

QString Testing::programFolder()
{
    return qEnvironmentVariable(programsVariable, QCoreApplication::applicationDirPath());
}
