#include "tests/fault/FaultSystem.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

namespace {

// As a program ends that another has killed, and one that has crashed.
constexpr UINT killedCode = 0xf291;
constexpr UINT accessViolation = 0xc0000005;
constexpr int killSignal = 9;

struct Wish
{
    std::mutex mutex;
    /** What to make when asked to end; empty: the wish is not noticed. */
    std::string file;
};

Wish &wish()
{
    static Wish instance;
    return instance;
}

} // namespace

// Another process asks for the end by a message to the first thread.
int FaultSystem::run(const std::function<int()> &script)
{
    MSG message = {};
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE); // there is a queue from here on
    std::thread([&script] { std::_Exit(script()); }).detach();
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        const std::lock_guard lock(wish().mutex);
        if (message.message != WM_CLOSE || wish().file.empty())
            continue;
        const std::ofstream asked(wish().file);
        std::_Exit(0);
    }
    return 0;
}

void FaultSystem::limitLife(unsigned seconds)
{
    std::thread([seconds] {
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        TerminateProcess(GetCurrentProcess(), killedCode);
    }).detach();
}

void FaultSystem::noteTerminate(const std::string &file)
{
    const std::lock_guard lock(wish().mutex);
    wish().file = file;
}

void FaultSystem::ignoreTerminate()
{
    noteTerminate({});
}

void FaultSystem::endBySignal(int number)
{
    TerminateProcess(GetCurrentProcess(), number == killSignal ? killedCode : accessViolation);
}

bool FaultSystem::spawn(const std::string & /*file*/)
{
    // Ending a process with its children is the system's own command's work here.
    return false;
}

long long FaultSystem::processId()
{
    return GetCurrentProcessId();
}
