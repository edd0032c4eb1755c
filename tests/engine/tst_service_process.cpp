#include "tests/support/FaultFolder.h"
#include "tests/support/RawService.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString executable()
{
    return QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe");
}

QByteArray line(const QJsonObject &request)
{
    return QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n';
}

/** A video of some hundred kilobytes. */
void makeClip(const QString &path)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                  QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("testsrc2=size=640x480:rate=25:duration=2"), path});
    if (!ffmpeg.waitForFinished() || ffmpeg.exitCode() != 0)
        qWarning("no clip");
}

/** A repair that comes to a halt in the middle of its work: nobody takes what it writes. */
class HaltedRepair
{
public:
    explicit HaltedRepair(RawService &rawService) : service(rawService)
    {
        QDir().mkpath(outputFolder());
        makeClip(service.root.filePath(QStringLiteral("clip.avi")));
    }

    ~HaltedRepair() { close(reader); }

    HaltedRepair(const HaltedRepair &) = delete;
    HaltedRepair &operator=(const HaltedRepair &) = delete;

    /** Starts the service and waits until it stands in the middle of writing. */
    bool begin()
    {
        return service.start() && placePipe() && service.connectPipes() &&
               service.write(line({{QStringLiteral("method"), 0},
                                   {QStringLiteral("damagedPath"),
                                    service.root.filePath(QStringLiteral("clip.avi"))},
                                   {QStringLiteral("outFilePath"),
                                    outputFolder() + QStringLiteral("/repaired.avi")}})) &&
               QTest::qWaitFor([this] { return arrivedBytes() > 0; }, 20000);
    }

    /** Everything in the output's folder. */
    QStringList files() const
    {
        return QDir(outputFolder())
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }

private:
    QString outputFolder() const { return service.root.filePath(QStringLiteral("out")); }

    /** In place of the file aside stands a pipe; the file's name holds the process's id. */
    bool placePipe()
    {
        const QByteArray path =
            QStringLiteral("%1/.vellumix-%2.part")
                .arg(outputFolder(), QString::number(service.process.processId()))
                .toUtf8();
        if (mkfifo(path.constData(), 0600) != 0)
            return false;
        reader = open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        return reader >= 0;
    }

    int arrivedBytes() const
    {
        int count = 0;
        return ioctl(reader, FIONREAD, &count) == 0 ? count : 0;
    }

    RawService &service;
    int reader = -1;
};

QStringList pipeNames()
{
    return QDir(Testing::pipeFolder())
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

/** The local service as a process: its start, its one exchange and its end. */
class ServiceProcessTest : public TestCase
{
    Q_OBJECT

private:
    /** One whole exchange; fails the test unless the service ends well after the hang-up. */
    static QJsonObject ask(const QByteArray &requestLine)
    {
        RawService service(executable());
        if (!service.start() || !service.connectPipes() || !service.write(requestLine))
            qWarning("no exchange");
        const QByteArray answer = service.read();
        if (service.process.state() != QProcess::Running)
            qWarning("the service did not wait for its client");
        service.hangUp();
        if (service.waitForEnd() != 0)
            qWarning("the service did not end well");
        return QJsonDocument::fromJson(answer).object();
    }

private Q_SLOTS:
    void failures_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("errCode");
        QTest::addColumn<int>("function");
        QTest::newRow("no JSON") << QByteArray("hello\n") << -10 << -1;
        QTest::newRow("key missing") << line({{QStringLiteral("method"), 107}}) << -10 << -1;
        QTest::newRow("unknown method") << line({{QStringLiteral("method"), 5}}) << -11 << -1;
        QTest::newRow("advanced repair")
            << line({{QStringLiteral("method"), 1},
                     {QStringLiteral("damagedPath"), QStringLiteral("/a.mp4")},
                     {QStringLiteral("outFilePath"), QStringLiteral("/o.mp4")},
                     {QStringLiteral("samplePath"), QStringLiteral("/s.mp4")}})
            << -12 << 1;
        QTest::newRow("no such file")
            << line({{QStringLiteral("method"), 107},
                     {QStringLiteral("videoPath"), QStringLiteral("/no/such.mp4")}})
            << -20 << 107;
        QTest::newRow("folder") << line({{QStringLiteral("method"), 107},
                                         {QStringLiteral("videoPath"), QStringLiteral("/")}})
                                << -20 << 107;
        QTest::newRow("no video") << line({{QStringLiteral("method"), 107},
                                           {QStringLiteral("videoPath"),
                                            QStringLiteral("/etc/passwd")}})
                                  << -21 << 107;
    }

    void failures()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, errCode);
        QFETCH(int, function);
        const QJsonObject answer = ask(request);
        QCOMPARE(answer.value(QStringLiteral("err_code")), QJsonValue(errCode));
        QCOMPARE(answer.value(QStringLiteral("function")), QJsonValue(function));
        QVERIFY(answer.value(QStringLiteral("message")).toString().endsWith(QLatin1Char('.')) ||
                answer.value(QStringLiteral("message")).toString().contains(QStringLiteral(": ")));
    }

    void wrongArguments()
    {
        QProcess process;
        process.start(executable(), {QStringLiteral("--help")});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 64);
        QVERIFY(process.readAllStandardError().contains("started by its client"));
    }

    void pipeNameInUse()
    {
        RawService first(executable());
        QVERIFY(first.start());
        QVERIFY(QTest::qWaitFor([] { return pipeNames().size() == 2; }));
        RawService second(executable());
        second.process.setArguments(first.process.arguments());
        QVERIFY(second.start());
        QCOMPARE(second.waitForEnd(), 4);
        // The first is not disturbed.
        QVERIFY(first.connectPipes());
    }

    void clientLeavesWithoutARequest()
    {
        RawService service(executable());
        QVERIFY(service.start());
        QVERIFY(service.connectPipes());
        service.hangUp();
        QCOMPARE(service.waitForEnd(), 4);
        QCOMPARE(pipeNames(), QStringList());
    }

    void askedToEndBeforeAClientComes()
    {
        RawService service(executable());
        QVERIFY(service.start());
        QVERIFY(QTest::qWaitFor([] { return pipeNames().size() == 2; }));
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), 3);
        QCOMPARE(pipeNames(), QStringList());
    }

    void killedBeforeAClientComes()
    {
        RawService service(executable());
        QVERIFY(service.start());
        QVERIFY(QTest::qWaitFor([] { return pipeNames().size() == 2; }));
        service.process.kill();
        QCOMPARE(service.waitForEnd(), -2);
        QVERIFY(QTest::qWaitFor([] { return pipeNames().isEmpty(); }));
        QVERIFY(
            QTest::qWaitFor([&] { return processesOf(executable(), service.token).isEmpty(); }));
    }

    void hangUpEndsTheWork()
    {
        RawService service(executable());
        HaltedRepair repair(service);
        QVERIFY(repair.begin());
        service.hangUp();
        QCOMPARE(service.waitForEnd(), 3);
        QCOMPARE(repair.files(), QStringList());
        QVERIFY(readFile(service.root.filePath(QStringLiteral("Logs/RepairService.log")))
                    .contains("request abandoned: the client has hung up"));
    }

    void terminationEndsTheWork()
    {
        RawService service(executable());
        HaltedRepair repair(service);
        QVERIFY(repair.begin());
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), 3);
        QCOMPARE(repair.files(), QStringList());
    }

    void neverOutlivesItsClient()
    {
        // A shell is the client: it starts the service and is then killed.
        RawService service(executable());
        QProcess shell;
        shell.setWorkingDirectory(service.root.path());
        shell.start(QStringLiteral("/bin/sh"),
                    QStringList({QStringLiteral("-c"), QStringLiteral("\"$@\" & wait"),
                                 QStringLiteral("sh"), executable()}) +
                        service.process.arguments());
        QVERIFY(shell.waitForStarted());
        QVERIFY(QTest::qWaitFor([] { return pipeNames().size() == 2; }));
        shell.kill();
        QVERIFY(shell.waitForFinished());
        QVERIFY(
            QTest::qWaitFor([&] { return processesOf(executable(), service.token).isEmpty(); }));
        QCOMPARE(pipeNames(), QStringList());
    }

    void writesItsOwnLog()
    {
        RawService service(executable());
        writeFile(service.root.filePath(QStringLiteral("KeshRepairConfig.dat")), "no JSON");
        QVERIFY(service.start());
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("{\"method\":5}\n"));
        QVERIFY(!service.read().isEmpty());
        service.hangUp();
        QCOMPARE(service.waitForEnd(), 0);
        const QByteArray log =
            readFile(service.root.filePath(QStringLiteral("Logs/RepairService.log")));
        QStringList rows = QString::fromUtf8(log).trimmed().split(QLatin1Char('\n'));
        static const QRegularExpression head(
            QStringLiteral("^\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3} "));
        for (QString &row : rows) {
            QVERIFY2(row.contains(head), qPrintable(row));
            row.remove(head);
        }
        QCOMPARE(rows.size(), 3);
        QVERIFY(rows[0].startsWith(QStringLiteral("[WARN] [pid=")));
        QVERIFY(rows[0].endsWith(
            QStringLiteral("] KeshRepairConfig.dat: the configuration is no JSON object")));
        QVERIFY(rows[1].startsWith(QStringLiteral("[INFO] [pid=")));
        QVERIFY(rows[1].endsWith(QStringLiteral("] request {\"method\":5}")));
        QVERIFY(rows[2].contains(QStringLiteral("] answer {\"err_code\":-11,")));
    }

    void logLevelIsObeyed()
    {
        RawService service(executable());
        writeFile(service.root.filePath(QStringLiteral("KeshRepairConfig.dat")),
                  R"({"logLevel":"error"})");
        QVERIFY(service.start());
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("{\"method\":5}\n"));
        QVERIFY(!service.read().isEmpty());
        QCOMPARE(readFile(service.root.filePath(QStringLiteral("Logs/RepairService.log"))),
                 QByteArray());
    }

    void longLogIsPutAside()
    {
        RawService service(executable());
        const QString log = service.root.filePath(QStringLiteral("Logs/RepairService.log"));
        writeFile(service.root.filePath(QStringLiteral("KeshRepairConfig.dat")),
                  R"({"logLimitMiB":0})");
        writeFile(log, "old line\n");
        QVERIFY(service.start());
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("{\"method\":5}\n"));
        QVERIFY(!service.read().isEmpty());
        QCOMPARE(readFile(service.root.filePath(QStringLiteral("Logs/RepairService.old.log"))),
                 QByteArray("old line\n"));
        QVERIFY(readFile(log).contains("request"));
    }
};

VELLUMIX_TEST_MAIN(ServiceProcessTest)

#include "tst_service_process.moc"
