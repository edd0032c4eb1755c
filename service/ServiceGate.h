#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/**
 * Says whether service processes may still be started, so that none appears after whoever wanted
 * them has gone. Shared by a window and its workers; all functions may be called from any thread.
 */
class ServiceGate
{
public:
    /** Begins a start. Returns false when the gate is closed: nothing may be started then. */
    bool enter();

    /**
     * Ends a start that enter() has allowed; the process runs or has failed to. Returns false when
     * the gate has been closed meanwhile: the process has to be ended by whoever started it.
     */
    bool leave();

    /**
     * Refuses every start from now on. Waits for those that have begun, so that their processes
     * can be seen, but for `limit` at most.
     */
    void close(std::chrono::milliseconds limit);

    /** Nothing will be started any more. */
    bool isClosed() const;

private:
    mutable std::mutex mutex;
    std::condition_variable allStarted;
    bool closed = false;
    int starting = 0;
};
