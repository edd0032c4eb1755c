#include "service/PipeChannel.h"
#include "tests/support/LogTail.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QElapsedTimer>

#include <limits>

namespace {

/** Notes what it is called for; every connect fails. */
class DeafPipes final : public PipeOperations
{
public:
    std::int32_t givenId = 5;
    QStringList calls;
    /** Shortest time between two calls of connect, in milliseconds. */
    qint64 leastIntervalMs = std::numeric_limits<qint64>::max();

    std::int32_t init(CommunicationCommonField_t &record) override
    {
        calls.append(QStringLiteral("init %1").arg(std::int32_t{record.id}));
        record.id = givenId;
        return 0;
    }
    std::int32_t connect(CommunicationCommonField_t &record) override
    {
        if (sinceConnect.isValid())
            leastIntervalMs = qMin(leastIntervalMs, sinceConnect.elapsed());
        sinceConnect.start();
        calls.append(QStringLiteral("connect %1").arg(std::int32_t{record.id}));
        return 9;
    }
    std::int32_t write(CommunicationCommonField_t & /*record*/, const char * /*bytes*/,
                       std::uint32_t /*size*/) override
    {
        return 0;
    }
    std::int32_t read(CommunicationCommonField_t & /*record*/, char * /*buffer*/,
                      std::uint32_t /*capacity*/) override
    {
        return 0;
    }
    void close(CommunicationCommonField_t &record) override
    {
        calls.append(QStringLiteral("close %1").arg(std::int32_t{record.id}));
    }

private:
    QElapsedTimer sinceConnect;
};

QByteArray bytesOf(const CommunicationCommonField_t &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

} // namespace

class PipeChannelTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void recordBytes()
    {
        QByteArray expected(1179, '\0');
        expected.replace(64, 4, QDir::toNativeSeparators(QStringLiteral("/cfg")).toUtf8());
        expected.replace(576, 4, QDir::toNativeSeparators(QStringLiteral("/log")).toUtf8());
        expected[1101] = 1;
        expected[1159] = 10;
        const QByteArray name = QStringLiteral("pipe-ä").toUtf8();
        expected.replace(0, name.size(), name);
        QCOMPARE(bytesOf(makeRecord(QStringLiteral("pipe-ä"), PipeDirection::Read,
                                    QStringLiteral("/cfg"), QStringLiteral("/log"))),
                 expected);
        expected[1101] = 0;
        QCOMPARE(bytesOf(makeRecord(QStringLiteral("pipe-ä"), PipeDirection::Write,
                                    QStringLiteral("/cfg"), QStringLiteral("/log"))),
                 expected);
    }

    void longTextsAreCut()
    {
        const auto record =
            makeRecord(QString(100, QLatin1Char('n')), PipeDirection::Read,
                       QString(600, QLatin1Char('c')), QString(600, QLatin1Char('l')));
        QCOMPARE(QByteArray(record.serverName), QByteArray(63, 'n'));
        QCOMPARE(QByteArray(record.localPath), QByteArray(511, 'c'));
        QCOMPARE(QByteArray(record.logPath), QByteArray(511, 'l'));
        QCOMPARE(std::int32_t{record.id}, 0);
    }

    void noTimeMakesNoAttempt_data()
    {
        QTest::addColumn<int>("timeoutMs");
        QTest::newRow("zero") << 0;
        QTest::newRow("negative") << -5;
    }

    void noTimeMakesNoAttempt()
    {
        QFETCH(int, timeoutMs);
        DeafPipes pipes;
        auto record = makeRecord(QStringLiteral("p"), PipeDirection::Read, {}, {});
        const LogTail log;
        QCOMPARE(initAndConnectPipe(pipes, record, timeoutMs), -1);
        QCOMPARE(pipes.calls, QStringList());
        QCOMPARE(log.texts(),
                 QStringList({QStringLiteral("INFO initAndConnectPipe begin, name=p, isRead=1, "
                                             "timeoutMs=%1")
                                  .arg(timeoutMs),
                              QStringLiteral("WARN initAndConnectPipe timeout/fail, name=p, "
                                             "lastError=-1")}));
    }

    void everyRoundStartsClean()
    {
        DeafPipes pipes;
        auto record = makeRecord(QStringLiteral("p"), PipeDirection::Write, {}, {});
        QCOMPARE(initAndConnectPipe(pipes, record, 250), 9);
        QVERIFY(pipes.calls.size() >= 6);
        const QStringList round = {QStringLiteral("init 0"), QStringLiteral("connect 5"),
                                   QStringLiteral("close 5")};
        for (qsizetype i = 0; i < pipes.calls.size(); ++i)
            QCOMPARE(pipes.calls[i], round[i % 3]);
        QCOMPARE(std::int32_t{record.id}, 0);
    }

    void nothingToCloseWithoutAHandle()
    {
        DeafPipes pipes;
        pipes.givenId = 0;
        auto record = makeRecord(QStringLiteral("p"), PipeDirection::Write, {}, {});
        QCOMPARE(initAndConnectPipe(pipes, record, 50), 9);
        QVERIFY(!pipes.calls.contains(QStringLiteral("close 0")));
    }

    void tenSecondsAreAboutAHundredAttempts()
    {
        DeafPipes pipes;
        auto record = makeRecord(QStringLiteral("p"), PipeDirection::Write, {}, {});
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(initAndConnectPipe(pipes, record, 10000), 9);
        QVERIFY2(timer.elapsed() >= 10000, qPrintable(QString::number(timer.elapsed())));
        const auto attempts = pipes.calls.count(QStringLiteral("connect 5"));
        QVERIFY2(attempts <= 101, qPrintable(QString::number(attempts)));
        // A busy machine delays some wake-ups, but not each: the shortest way from one attempt to
        // the next is the interval itself.
        QVERIFY2(pipes.leastIntervalMs >= 99 && pipes.leastIntervalMs < 120,
                 qPrintable(QString::number(pipes.leastIntervalMs)));
    }
};

VELLUMIX_TEST_MAIN(PipeChannelTest)

#include "tst_pipe_channel.moc"
