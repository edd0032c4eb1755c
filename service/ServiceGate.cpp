#include "service/ServiceGate.h"

bool ServiceGate::enter()
{
    const std::lock_guard lock(mutex);
    if (isClosed)
        return false;
    ++starting;
    return true;
}

bool ServiceGate::leave()
{
    const std::lock_guard lock(mutex);
    if (--starting == 0)
        allStarted.notify_all();
    return !isClosed;
}

void ServiceGate::close(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    isClosed = true;
    allStarted.wait_for(lock, limit, [this] { return starting == 0; });
}
