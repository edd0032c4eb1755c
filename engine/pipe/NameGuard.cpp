#include "engine/pipe/NameGuard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace {

constexpr int mostProbes = 200;
constexpr int probeIntervalMs = 5;

/**
 * The child's life. Other threads of the parent may have held any lock at the fork: nothing but
 * system calls is allowed here.
 */
[[noreturn]] void waitAndRemove(int lifeline, const SocketFolder &folder, const char *name,
                                const sockaddr_un &address)
{
    // It has to be there when all others of its group are told to go.
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM})
        std::signal(number, SIG_IGN);
    // The parent's standard streams among them: whoever reads those waits for their end.
    const auto first = static_cast<unsigned>(lifeline);
    const auto second = static_cast<unsigned>(folder.descriptor());
    const unsigned low = std::min(first, second);
    const unsigned high = std::max(first, second);
    if (low > 0)
        close_range(0, low - 1, 0);
    if (high > low + 1)
        close_range(low + 1, high - 1, 0);
    close_range(high + 1, ~0U, 0);
    char byte = 0;
    while (read(lifeline, &byte, 1) < 0 && errno == EINTR) {
    }
    // The system closes a dying process's files in no fixed order: the name may seem alive for a
    // moment more. One that goes on to is another's.
    for (int i = 0; i < mostProbes && SocketFolder::isAlive(address); ++i)
        poll(nullptr, 0, probeIntervalMs);
    if (SocketFolder::isStale(address))
        folder.removeName(name);
    _exit(0);
}

} // namespace

NameGuard::NameGuard(const SocketFolder &folder, const std::string &name)
{
    const sockaddr_un address = folder.address(name);
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return;
    const FileDescriptor watched(ends[0]);
    lifeline = FileDescriptor(ends[1]);
    child = fork();
    if (child == 0)
        waitAndRemove(watched.get(), folder, name.c_str(), address);
}

NameGuard::~NameGuard()
{
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}
