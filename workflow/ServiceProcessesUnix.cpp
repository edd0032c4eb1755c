#include "workflow/ServiceProcesses.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// The header of glibc 2.36 forgets to declare its functions as C's.
extern "C" {
#include <sys/pidfd.h>
}

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds timeLimit{1000};
constexpr std::chrono::milliseconds pollInterval{5};

constexpr int someEnded = 0;
constexpr int noneCouldBeEnded = 1;
constexpr int noneRunning = 128;

/** One process as /proc shows it. */
struct Process
{
    pid_t parent = 0;
    bool hasImage = false;
};

fs::path procFolder(pid_t pid)
{
    return fs::path("/proc") / std::to_string(pid);
}

/** The part behind the last separator of either kind: the program may come from another system. */
std::string baseName(const std::string &path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

/** File name of the program that a process runs; empty when it cannot be told. */
std::string executableName(pid_t pid)
{
    std::error_code error;
    std::string name = baseName(fs::read_symlink(procFolder(pid) / "exe", error).string());
    // The kernel's way to say that the file has been replaced or removed since.
    const std::string deleted = " (deleted)";
    if (name.ends_with(deleted))
        name.resize(name.size() - deleted.size());
    return name;
}

/** File name in the process's own idea of its program, which an interpreter or loader keeps. */
std::string argumentName(pid_t pid)
{
    std::ifstream file(procFolder(pid) / "cmdline");
    std::string argument;
    std::getline(file, argument, '\0');
    return baseName(argument);
}

/** Parent and image of a live process; none for one that is gone or only waits to be reaped. */
std::optional<Process> readProcess(pid_t pid, const std::string &imageName)
{
    std::ifstream file(procFolder(pid) / "stat");
    std::string text;
    if (!std::getline(file, text))
        return {};
    // "PID (NAME) STATE PARENT ...", where the name may hold anything.
    const std::size_t nameEnd = text.rfind(") ");
    if (nameEnd == std::string::npos || nameEnd + 4 >= text.size())
        return {};
    const char state = text[nameEnd + 2];
    if (state == 'Z' || state == 'X')
        return {};
    Process process;
    std::from_chars(text.data() + nameEnd + 4, text.data() + text.size(), process.parent);
    process.hasImage = executableName(pid) == imageName || argumentName(pid) == imageName;
    return process;
}

std::vector<pid_t> processIds()
{
    std::vector<pid_t> ids;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename().string();
        pid_t pid = 0;
        const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (failure == std::errc() && end == name.data() + name.size() && pid != getpid())
            ids.push_back(pid);
    }
    return ids;
}

/** Names one process for as long as it is held, also when its number is given to another. */
class Handle
{
public:
    explicit Handle(pid_t processId) : pid(processId), descriptor(pidfd_open(processId, 0)) {}
    Handle(Handle &&other) noexcept
        : pid(other.pid), descriptor(std::exchange(other.descriptor, -1))
    {
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    Handle &operator=(Handle &&) = delete;
    ~Handle()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }

    /** Returns 0, or why the signal could not be sent. */
    int signal(int number) const
    {
        const int result = descriptor >= 0 ? pidfd_send_signal(descriptor, number, nullptr, 0)
                                           : ::kill(pid, number);
        return result == 0 ? 0 : errno;
    }

    bool hasEnded() const
    {
        if (descriptor < 0)
            return signal(0) == ESRCH;
        pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
        return poll(&entry, 1, 0) > 0;
    }

private:
    pid_t pid;
    int descriptor;
};

/** The processes of one image with all their children, stopped so that none starts another. */
class Trees
{
public:
    explicit Trees(std::string image) : imageName(std::move(image)) {}

    /** Stops all that there are now. Returns whether there are any that this user may end. */
    bool freeze()
    {
        held.clear();
        while (freezeOnce()) {
        }
        return !held.empty();
    }

    /** Ends what freeze() has stopped, and waits until it is gone. */
    void end(Clock::time_point deadline)
    {
        for (const auto &[pid, handle] : held)
            handle.signal(SIGKILL);
        for (const auto &[pid, handle] : held) {
            while (!handle.hasEnded() && Clock::now() < deadline)
                std::this_thread::sleep_for(pollInterval);
        }
    }

    /** There were processes of the image that this user may not end. */
    bool metRefusal() const { return !refused.empty(); }

private:
    bool isWanted(const std::optional<Process> &process) const
    {
        return process && (process->hasImage || held.contains(process->parent));
    }

    /** Returns whether there were processes that are not held yet. */
    bool freezeOnce()
    {
        bool foundMore = false;
        for (const pid_t pid : processIds()) {
            if (!held.contains(pid) && isWanted(readProcess(pid, imageName)) && take(pid))
                foundMore = true;
        }
        return foundMore;
    }

    bool take(pid_t pid)
    {
        if (std::find(refused.begin(), refused.end(), pid) != refused.end())
            return false;
        Handle handle(pid);
        // Looked at again now that the number cannot change its meaning unnoticed.
        if (!isWanted(readProcess(pid, imageName)))
            return false;
        const int failure = handle.signal(SIGSTOP);
        if (failure == EPERM)
            refused.push_back(pid);
        if (failure != 0)
            return false;
        held.emplace(pid, std::move(handle));
        return true;
    }

    std::string imageName;
    std::map<pid_t, Handle> held;
    std::vector<pid_t> refused;
};

} // namespace

int endProcesses(const QString &imageName)
{
    const auto deadline = Clock::now() + timeLimit;
    Trees trees(imageName.toStdString());
    bool ended = false;
    // Again, since meanwhile another client may have started one.
    while (trees.freeze()) {
        trees.end(deadline);
        ended = true;
        if (Clock::now() >= deadline)
            break;
    }
    if (ended)
        return someEnded;
    return trees.metRefusal() ? noneCouldBeEnded : noneRunning;
}
