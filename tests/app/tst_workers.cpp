#include "app/Workers.h"
#include "tests/support/TestCase.h"

#include <QThread>

#include <atomic>
#include <semaphore>

/** Work off the interface thread and the way back. */
class WorkersTest : public TestCase
{
    Q_OBJECT

private:
    static constexpr std::chrono::seconds generous{30};

    static bool allDone() { return Workers::awaitAll(generous); }

private Q_SLOTS:
    void worksElsewhereAndDeliversHere()
    {
        QObject receiver;
        Workers workers(&receiver);
        QThread *worker = nullptr;
        QThread *deliverer = nullptr;
        workers.start([&](const Workers::WayBack &wayBack) {
            QThread *here = QThread::currentThread();
            wayBack.post([&worker, &deliverer, here] {
                worker = here;
                deliverer = QThread::currentThread();
            });
        });
        QTRY_VERIFY_WITH_TIMEOUT(deliverer != nullptr, 30000);
        QCOMPARE(deliverer, thread());
        QVERIFY(worker != thread());
        QVERIFY(allDone());
    }

    void nothingIsDeliveredBeforeTheEventLoop()
    {
        QObject receiver;
        Workers workers(&receiver);
        bool isDelivered = false;
        workers.start([&](const Workers::WayBack &wayBack) {
            wayBack.post([&isDelivered] { isDelivered = true; });
        });
        QVERIFY(allDone());
        QVERIFY(!isDelivered);
        QCoreApplication::processEvents();
        QVERIFY(isDelivered);
    }

    void deliversInTheOrderOfPosting()
    {
        QObject receiver;
        Workers workers(&receiver);
        QList<int> received;
        workers.start([&received](const Workers::WayBack &wayBack) {
            for (int i = 0; i < 100; ++i)
                wayBack.post([&received, i] { received.append(i); });
        });
        QTRY_COMPARE_WITH_TIMEOUT(received.size(), 100, 30000);
        for (int i = 0; i < 100; ++i)
            QCOMPARE(received[i], i);
        QVERIFY(allDone());
    }

    void manyWorkAtOnce()
    {
        QObject receiver;
        Workers workers(&receiver);
        std::atomic<int> atWork{0};
        int delivered = 0;
        for (int i = 0; i < 20; ++i) {
            workers.start([&](const Workers::WayBack &wayBack) {
                // None ends before all have begun.
                ++atWork;
                while (atWork < 20)
                    QThread::yieldCurrentThread();
                wayBack.post([&delivered] { ++delivered; });
            });
        }
        QTRY_COMPARE_WITH_TIMEOUT(delivered, 20, 30000);
        QVERIFY(allDone());
    }

    void threadsThatHaveFinishedAreNotWaitedFor()
    {
        QObject receiver;
        Workers workers(&receiver);
        for (int i = 0; i < 5; ++i)
            workers.start([](const Workers::WayBack &) {});
        QTRY_VERIFY_WITH_TIMEOUT(Workers::awaitAll(std::chrono::milliseconds::zero()), 30000);
    }

    void resultsAfterTheReceiverAreDropped()
    {
        std::binary_semaphore gone{0};
        std::atomic<bool> isPosted{false};
        bool isDelivered = false;
        {
            QObject receiver;
            Workers workers(&receiver);
            workers.start([&](const Workers::WayBack &wayBack) {
                gone.acquire();
                wayBack.post([&isDelivered] { isDelivered = true; });
                isPosted = true;
            });
        }
        gone.release();
        QVERIFY(allDone());
        QCoreApplication::processEvents();
        QVERIFY(isPosted);
        QVERIFY(!isDelivered);
    }

    void resultsUnderWayAreDroppedWithTheReceiver()
    {
        bool isDelivered = false;
        {
            QObject receiver;
            Workers workers(&receiver);
            workers.start([&isDelivered](const Workers::WayBack &wayBack) {
                wayBack.post([&isDelivered] { isDelivered = true; });
            });
            QVERIFY(allDone());
        }
        QCoreApplication::processEvents();
        QVERIFY(!isDelivered);
    }

    void theReceiverMayGoAtAnyMoment()
    {
        for (int round = 0; round < 300; ++round) {
            const auto delivered = std::make_shared<int>(0);
            const auto posting = std::make_shared<std::atomic<int>>(0);
            {
                QObject receiver;
                Workers workers(&receiver);
                for (int i = 0; i < 3; ++i) {
                    workers.start([posting, delivered](const Workers::WayBack &wayBack) {
                        ++*posting;
                        for (int k = 0; k < 20; ++k)
                            wayBack.post([delivered] { ++*delivered; });
                    });
                }
                // In the middle of it, or not yet begun, or just done.
                while (*posting < round % 4)
                    QCoreApplication::processEvents();
            }
            const int before = *delivered;
            QVERIFY(allDone());
            QCoreApplication::processEvents();
            QCOMPARE(*delivered, before);
        }
    }

    void waitingForTheStuckHasAnEnd()
    {
        QObject receiver;
        Workers workers(&receiver);
        std::binary_semaphore free{0};
        workers.start([&free](const Workers::WayBack &) { free.acquire(); });
        QVERIFY(!Workers::awaitAll(std::chrono::milliseconds(1)));
        free.release();
        QVERIFY(allDone());
    }
};

VELLUMIX_TEST_MAIN(WorkersTest)

#include "tst_workers.moc"
