#include "service/ServiceGate.h"

bool ServiceGate::enter()
{
    const std::lock_guard lock(mutex);
    if (closed)
        return false;
    ++starting;
    return true;
}

bool ServiceGate::leave()
{
    const std::lock_guard lock(mutex);
    if (--starting == 0)
        allStarted.notify_all();
    return !closed;
}

void ServiceGate::close(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    closed = true;
    allStarted.wait_for(lock, limit, [this] { return starting == 0; });
}

bool ServiceGate::isClosed() const
{
    const std::lock_guard lock(mutex);
    return closed;
}
