#include "engine/service/ProcessWatch.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

// The header of glibc 2.36 forgets to declare its functions as C's.
extern "C" {
#include <sys/pidfd.h>
}

namespace {

// Where the system gives no descriptor for the client's process, its end is looked for this often.
constexpr int parentCheckMs = 500;

pid_t client = -1;
int clientDescriptor = -1;
int signalDescriptor = -1;

} // namespace

void ProcessWatch::prepare()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signalDescriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    client = getppid();
    clientDescriptor = pidfd_open(client, 0);
}

const char *ProcessWatch::waitForEnd()
{
    std::array<pollfd, 2> entries = {
        pollfd{.fd = signalDescriptor, .events = POLLIN, .revents = 0},
        pollfd{.fd = clientDescriptor, .events = POLLIN, .revents = 0}};
    while (getppid() == client) {
        const int count =
            poll(entries.data(), entries.size(), clientDescriptor >= 0 ? -1 : parentCheckMs);
        if (count > 0)
            break;
    }
    return entries[0].revents != 0 ? "asked to end" : "the client has ended";
}
