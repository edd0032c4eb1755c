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
    clientDescriptor = pidfd_open(getppid(), 0);
}

const char *ProcessWatch::waitForEnd()
{
    std::array<pollfd, 2> entries = {
        pollfd{.fd = signalDescriptor, .events = POLLIN, .revents = 0},
        pollfd{.fd = clientDescriptor, .events = POLLIN, .revents = 0}};
    while (poll(entries.data(), entries.size(), -1) < 0 && errno == EINTR) {
    }
    return entries[0].revents != 0 ? "asked to end" : "the client has ended";
}
