#pragma once

#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

/**
 * Runs work off the interface thread and brings its results back: the one way in which a window
 * does anything that blocks.
 *
 * Each piece of work gets a thread of its own. What is posted back runs later on the receiver's
 * thread, in the order of posting. When the Workers object is gone nothing more is delivered: work
 * that is still going on ends in its own time, and what it posts is dropped. To be a member of its
 * receiver, which then may be destroyed at any moment.
 */
class Workers
{
    struct Mailbox;

public:
    /** The way from a worker back to the receiver. Copies may outlive both. */
    class WayBack
    {
    public:
        /**
         * Has `delivery` run on the receiver's thread, unless the receiver is gone by then. May be
         * called from any thread, as often as there is something to tell.
         */
        void post(std::function<void()> delivery) const;

    private:
        friend class Workers;
        explicit WayBack(std::shared_ptr<Mailbox> receiverMailbox);

        std::shared_ptr<Mailbox> mailbox;
    };

    /** @param receiver its thread must run an event loop; outlives this object */
    explicit Workers(QObject *receiver);

    /** From here on nothing is delivered. On the receiver's thread. Waits for no work. */
    ~Workers();

    Workers(const Workers &) = delete;
    Workers &operator=(const Workers &) = delete;

    /**
     * Starts `work` on a thread of its own. It must own copies of all that it needs and touch
     * nothing of the receiver's. On the receiver's thread.
     */
    void start(std::function<void(const WayBack &)> work);

    /**
     * Waits until no work of any Workers is going on, for `limit` at most. Returns whether that is
     * so. On the main thread, which started the work, after its event loop.
     */
    static bool awaitAll(std::chrono::milliseconds limit);

private:
    std::shared_ptr<Mailbox> mailbox;
};
