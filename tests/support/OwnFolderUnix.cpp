#include "tests/support/OwnFolder.h"

#include <QCoreApplication>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr const char *programsVariable = "VELLUMIX_TEST_PROGRAMS";

[[noreturn]] void giveUp(const char *what)
{
    std::perror(what);
    std::_Exit(1);
}

/** A folder beside the program, on the same file system, so that a file can have a second name. */
fs::path makeFolder(const fs::path &programs)
{
    fs::create_directories(programs / "folders");
    std::string name = programs / "folders" / "XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        giveUp("mkdtemp");
    return name;
}

} // namespace

Testing::OwnFolder::OwnFolder(char *argv[])
{
    const fs::path program = fs::read_symlink("/proc/self/exe");
    if (std::getenv(programsVariable) != nullptr) {
        folder = program.parent_path();
        return;
    }
    const fs::path programs = program.parent_path();
    const fs::path own = makeFolder(programs);
    fs::create_hard_link(program, own / program.filename());
    const char *library = "TarnCommunicationSDK.dll";
    fs::create_hard_link(programs / library, own / library);
    setenv(programsVariable, programs.c_str(), 1);
    execv((own / program.filename()).c_str(), argv);
    giveUp("execv");
}

Testing::OwnFolder::~OwnFolder()
{
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

QString Testing::programFolder()
{
    return qEnvironmentVariable(programsVariable, QCoreApplication::applicationDirPath());
}
