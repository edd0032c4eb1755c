#include "tests/fault/FaultSystem.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr int notFound = 99;

// What the handler of SIGTERM makes.
std::string askedFile;

} // namespace

int FaultSystem::run(const std::function<int()> &script)
{
    return script();
}

void FaultSystem::limitLife(unsigned seconds)
{
    alarm(seconds);
}

void FaultSystem::noteTerminate(const std::string &file)
{
    askedFile = file;
    std::signal(SIGTERM, [](int) {
        close(open(askedFile.c_str(), O_CREAT | O_WRONLY, 0600));
        std::_Exit(0);
    });
}

void FaultSystem::ignoreTerminate()
{
    std::signal(SIGTERM, SIG_IGN);
}

void FaultSystem::endBySignal(int number)
{
    std::raise(number);
}

bool FaultSystem::spawn(const std::string &file)
{
    const pid_t child = fork();
    if (child == 0) {
        const pid_t grandchild = fork();
        if (grandchild != 0) {
            std::ofstream(file + ".part") << getpid() << '\n' << grandchild << '\n';
            std::filesystem::rename(file + ".part", file);
        }
        // Other programs, so that only their descent tells that they belong to the service.
        execlp("sleep", "sleep", "120", nullptr);
        std::_Exit(notFound);
    }
    return child > 0;
}

long long FaultSystem::processId()
{
    return getpid();
}
