#include "app/Workers.h"

#include <QDeadlineTimer>
#include <QSet>
#include <QThread>

#include <mutex>
#include <utility>

namespace {

/**
 * Guards every mailbox's receiver, and carries what a worker wrote to the receiver's thread: both
 * hold it, the one while posting and when it ends, the other before it looks at what came.
 */
std::mutex &postMutex()
{
    static std::mutex mutex;
    return mutex;
}

/**
 * Threads at work, and those that have finished since one was last started. Touched by the main
 * thread only. Never destroyed: the system may still be taking a thread down whose work has long
 * ended, and that thread then needs what belongs to it.
 */
QSet<QThread *> &allThreads()
{
    static auto *threads = new QSet<QThread *>;
    return *threads;
}

void deleteFinishedThreads()
{
    QSet<QThread *> finished;
    for (QThread *thread : std::as_const(allThreads())) {
        if (thread->isFinished() && thread->wait())
            finished.insert(thread);
    }
    allThreads().subtract(finished);
    const std::lock_guard lock(postMutex());
    qDeleteAll(finished);
}

/** What the event queue carries. */
class Delivery
{
public:
    explicit Delivery(std::function<void()> content) : run(std::move(content)) {}

    void operator()()
    {
        std::function<void()> content;
        {
            const std::lock_guard lock(postMutex());
            content = std::move(run);
        }
        content();
    }

private:
    std::function<void()> run;
};

} // namespace

struct Workers::Mailbox
{
    /** Null once the receiver is gone. */
    QObject *receiver = nullptr;
};

Workers::WayBack::WayBack(std::shared_ptr<Mailbox> receiverMailbox)
    : mailbox(std::move(receiverMailbox))
{
}

void Workers::WayBack::post(std::function<void()> delivery) const
{
    const std::lock_guard lock(postMutex());
    if (mailbox->receiver != nullptr)
        QMetaObject::invokeMethod(mailbox->receiver, Delivery(std::move(delivery)),
                                  Qt::QueuedConnection);
}

Workers::Workers(QObject *receiver) : mailbox(std::make_shared<Mailbox>())
{
    mailbox->receiver = receiver;
}

Workers::~Workers()
{
    const std::lock_guard lock(postMutex());
    mailbox->receiver = nullptr;
}

void Workers::start(std::function<void(const WayBack &)> work)
{
    deleteFinishedThreads();
    QThread *thread = QThread::create(
        [wayBack = WayBack(mailbox), content = std::move(work)] { content(wayBack); });
    allThreads().insert(thread);
    // On the worker, its last act: whoever waits for the thread takes the mutex after it.
    QObject::connect(
        thread, &QThread::finished, thread, [] { const std::lock_guard lock(postMutex()); },
        Qt::DirectConnection);
    thread->start(QThread::InheritPriority);
}

bool Workers::awaitAll(std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    for (QThread *thread : std::as_const(allThreads())) {
        if (!thread->wait(deadline))
            return false;
    }
    const std::lock_guard lock(postMutex());
    return true;
}
