#include "service/RepairClient.h"
#include "service/ServiceExchange.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QSet>

#include <atomic>
#include <thread>
#include <vector>

/** Calls from many threads at once. */
class OverlapTest : public TestCase
{
    Q_OBJECT

private:
    static QString tokenWith(unsigned counter)
    {
        return QStringLiteral("%1_%2").arg(QCoreApplication::applicationPid()).arg(counter);
    }

private Q_SLOTS:
    void tokensCountUp()
    {
        // The first of this process: this function comes before the others.
        QCOMPARE(requestToken(), tokenWith(1));
        QCOMPARE(requestToken(), tokenWith(2));
    }

    void everyAnswerComesToItsCaller()
    {
        constexpr int callCount = 20;
        const FaultFolder folder(
            {QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        const unsigned before = requestToken().section(QLatin1Char('_'), 1).toUInt();
        std::vector<RepairResponse> responses(callCount);
        std::atomic<int> waiting{callCount};
        std::vector<std::thread> threads;
        threads.reserve(callCount);
        for (int i = 0; i < callCount; ++i) {
            threads.emplace_back([&folder, &responses, &waiting, i] {
                RepairRequest request = folder.request();
                // They set out together.
                --waiting;
                while (waiting > 0)
                    std::this_thread::yield();
                responses[static_cast<std::size_t>(i)] =
                    RepairClient().send(request, {{QStringLiteral("method"), 1000 + i}}, 60);
            });
        }
        for (std::thread &thread : threads)
            thread.join();

        QSet<QString> tokens;
        for (int i = 0; i < callCount; ++i) {
            const RepairResponse &response = responses[static_cast<std::size_t>(i)];
            QVERIFY2(response.ok, qPrintable(response.message));
            const QJsonObject sent = response.object.value(QStringLiteral("request")).toObject();
            QCOMPARE(sent.value(QStringLiteral("method")).toInt(), 1000 + i);
            tokens.insert(response.object.value(QStringLiteral("token")).toString());
        }
        // The counters follow one another without a gap.
        QStringList expected;
        for (unsigned i = 1; i <= callCount; ++i)
            expected.append(tokenWith(before + i));
        QCOMPARE(tokens, QSet<QString>(expected.begin(), expected.end()));
        // One process for each call, each started with a token of its own.
        QCOMPARE(folder.startCount(), callCount);
        for (const QString &token : tokens)
            QCOMPARE(folder.startRecord(token).value(3), token);
        QCOMPARE(folder.leftovers(), QStringList());
    }
};

VELLUMIX_TEST_MAIN(OverlapTest)

#include "tst_overlap.moc"
