#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/RawService.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

namespace {

QString executable()
{
    return QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe");
}

QByteArray line(const QJsonObject &request)
{
    return QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n';
}

/** Very many small pictures: much work, and little for the disk. Made once for each container. */
QString longClip(const QString &suffix)
{
    static const QTemporaryDir folder;
    constexpr qsizetype fullSize = 60 << 20;
    const QString stream = folder.filePath(QStringLiteral("clip.ts"));
    if (!QFileInfo::exists(stream)) {
        Footage::make(stream,
                      {QStringLiteral("-c:v"), QStringLiteral("mpeg2video"), QStringLiteral("-s"),
                       QStringLiteral("32x32"), QStringLiteral("-an")},
                      20);
        const QByteArray part = readFile(stream);
        QFile file(stream);
        bool isWritten = file.open(QIODevice::Append);
        while (isWritten && file.size() < fullSize)
            isWritten = file.write(part) == part.size();
        if (!isWritten)
            qWarning("no clip");
    }
    QString clip = folder.filePath(QStringLiteral("clip.") + suffix);
    if (!QFileInfo::exists(clip))
        Footage::run(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-i"), stream,
                      QStringLiteral("-c"), QStringLiteral("copy"), clip});
    return clip;
}

/** A repair of so much that it cannot be done at once. */
class LongRepair
{
public:
    explicit LongRepair(RawService &rawService, const QString &ofSuffix = QStringLiteral("ts"))
        : service(rawService), suffix(ofSuffix)
    {
        QDir().mkpath(outputFolder());
    }

    /** Starts the service and sends the request. */
    bool ask()
    {
        const QString clip = longClip(suffix);
        return service.start() && service.connectPipes() &&
               service.write(line({{QStringLiteral("method"), 0},
                                   {QStringLiteral("damagedPath"), clip},
                                   {QStringLiteral("outFilePath"),
                                    outputFolder() + QStringLiteral("/repaired.") + suffix}}));
    }

    /** The service has written a line with this text to its log, and no answer yet. */
    bool comesTo(const QByteArray &text) const
    {
        const QString log = service.root.filePath(QStringLiteral("Logs/RepairService.log"));
        return QTest::qWaitFor([&] { return readFile(log).contains(text); }, 50000) &&
               !readFile(log).contains("] answer ");
    }

    /** Starts the service and waits until it is writing. */
    bool begin()
    {
        return ask() && QTest::qWaitFor([this] { return isWriting(); }, 20000);
    }

    /** Everything in the output's folder. */
    QStringList files() const { return entriesOf(outputFolder()); }

private:
    QString outputFolder() const { return service.root.filePath(QStringLiteral("out")); }

    /** The service has a file of the output's folder open that is no longer empty. */
    bool isWriting() const
    {
#ifdef Q_OS_WIN
        const QFileInfoList unfinished =
            QDir(outputFolder()).entryInfoList(QDir::Files | QDir::Hidden);
        return !unfinished.isEmpty() && unfinished.first().size() > 0;
#else
        const QString folder = QStringLiteral("/proc/%1/fd/").arg(service.process.processId());
        const QStringList descriptors = QDir(folder).entryList(QDir::Files | QDir::System);
        for (const QString &descriptor : descriptors) {
            const QString path = folder + descriptor;
            if (QFile::symLinkTarget(path).startsWith(outputFolder()) && QFileInfo(path).size() > 0)
                return true;
        }
        return false;
#endif
    }

    RawService &service;
    QString suffix;
};

/** Both pipes wait for their client. */
bool hasPipes(const RawService &service)
{
    return pipeNames({service.token}).size() == 2;
}

bool hasNoPipes(const RawService &service)
{
    return pipeNames({service.token}).isEmpty();
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
        if (service.process.waitForFinished(100))
            qWarning("the service did not wait for its client");
        service.hangUp();
        if (service.waitForEnd() != 0)
            qWarning("the service did not end well");
        return QJsonDocument::fromJson(answer).object();
    }

private Q_SLOTS:
    void failures_data()
    {
        QTest::addColumn<QJsonObject>("request");
        QTest::addColumn<int>("errCode");
        QTest::addColumn<int>("function");
        QTest::addColumn<QString>("message");
        const auto method = QStringLiteral("method");
        const auto video = QStringLiteral("videoPath");
        QTest::newRow("key missing") << QJsonObject{{method, 107}} << -10 << -1
                                     << QStringLiteral("The request lacks the text \"videoPath\".");
        QTest::newRow("number missing")
            << QJsonObject{{method, 101},
                           {video, QStringLiteral("/a.mp4")},
                           {QStringLiteral("photoPath"), QStringLiteral("/p.jpg")}}
            << -10 << -1 << QStringLiteral("The request lacks the whole number \"scale\".");
        QTest::newRow("scale") << QJsonObject{{method, 101},
                                              {video, QStringLiteral("/a.mp4")},
                                              {QStringLiteral("photoPath"),
                                               QStringLiteral("/p.jpg")},
                                              {QStringLiteral("scale"), 0}}
                               << -10 << -1
                               << QStringLiteral("The picture's scale must be at least 1.");
        QTest::newRow("unknown method")
            << QJsonObject{{method, 5}} << -11 << -1 << QStringLiteral("There is no method 5.");
        QTest::newRow("advanced repair")
            << QJsonObject{{method, 1},
                           {QStringLiteral("damagedPath"), QStringLiteral("/a.mp4")},
                           {QStringLiteral("outFilePath"), QStringLiteral("/o.mp4")},
                           {QStringLiteral("samplePath"), QStringLiteral("/s.mp4")}}
            << -20 << 1 << QStringLiteral("The file cannot be opened: /a.mp4");
        QTest::newRow("no such file")
            << QJsonObject{{method, 107}, {video, QStringLiteral("/no/such.mp4")}} << -20 << 107
            << QStringLiteral("The file cannot be opened: /no/such.mp4");
        QTest::newRow("folder") << QJsonObject{{method, 107}, {video, QStringLiteral("/")}} << -20
                                << 107 << QStringLiteral("The file cannot be opened: /");
        QTest::newRow("no video")
            << QJsonObject{{method, 101},
                           {video, QStringLiteral("/etc/passwd")},
                           {QStringLiteral("photoPath"), QStringLiteral("/no/such/folder/p.jpg")},
                           {QStringLiteral("scale"), 1}}
            << -21 << 101
            << QStringLiteral("The file cannot be read as a video (Invalid data found when "
                              "processing input): /etc/passwd");
    }

    void failures()
    {
        QFETCH(QJsonObject, request);
        QFETCH(int, errCode);
        QFETCH(int, function);
        QFETCH(QString, message);
        QCOMPARE(ask(line(request)), QJsonObject({{QStringLiteral("err_code"), errCode},
                                                  {QStringLiteral("function"), function},
                                                  {QStringLiteral("message"), message}}));
    }

    void requestThatIsNoJson()
    {
        QCOMPARE(ask("hello\n"), QJsonObject({{QStringLiteral("err_code"), -10},
                                              {QStringLiteral("function"), -1},
                                              {QStringLiteral("message"),
                                               QStringLiteral("The request is no JSON object.")}}));
    }

    void wrongArguments()
    {
        RawService service(executable());
        service.process.setArguments({QStringLiteral("--help")});
        QVERIFY(service.start());
        QCOMPARE(service.waitForEnd(), 64);
        QVERIFY(service.process.readAllStandardError().contains("started by its client"));
    }

    void pipeNameInUse()
    {
        RawService first(executable());
        QVERIFY(first.start());
        QVERIFY(QTest::qWaitFor([&] { return hasPipes(first); }));
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
        QVERIFY(hasNoPipes(service));
    }

#ifndef Q_OS_WIN
    // What asks a program to end there is a message to its windows, which it has none of.

    void askedToEndBeforeAClientComes()
    {
        RawService service(executable());
        QVERIFY(service.start());
        QVERIFY(QTest::qWaitFor([&] { return hasPipes(service); }));
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), 3);
        QVERIFY(hasNoPipes(service));
    }
#endif

    void killedBeforeAClientComes()
    {
        RawService service(executable());
        QVERIFY(service.start());
        QVERIFY(QTest::qWaitFor([&] { return hasPipes(service); }));
        service.process.kill();
        QCOMPARE(service.waitForEnd(), -2);
        QVERIFY(QTest::qWaitFor([&] { return hasNoPipes(service); }));
        QVERIFY(
            QTest::qWaitFor([&] { return processesOf(executable(), service.token).isEmpty(); }));
    }

    void hangUpEndsTheWork()
    {
        RawService service(executable());
        LongRepair repair(service);
        QVERIFY(repair.begin());
        service.hangUp();
        QCOMPARE(service.waitForEnd(), 3);
        QCOMPARE(repair.files(), QStringList());
        QVERIFY(readFile(service.root.filePath(QStringLiteral("Logs/RepairService.log")))
                    .contains("request abandoned: the client has hung up"));
    }

#ifndef Q_OS_WIN
    // See above.

    void terminationEndsTheWork()
    {
        RawService service(executable());
        LongRepair repair(service);
        QVERIFY(repair.begin());
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), 3);
        QCOMPARE(repair.files(), QStringList());
    }

    void endsWithinASecondInEveryPhase_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QByteArray>("phase");
        for (const char *suffix : {"ts", "mp4", "mkv"}) {
            for (const char *phase : {"] request ", "copied 30 %", "checked 30 %"}) {
                // MP4 is read back sooner than anybody could end it.
                if (qstrcmp(suffix, "mp4") != 0 || qstrcmp(phase, "checked 30 %") != 0)
                    QTest::addRow("%s, %s", suffix, phase)
                        << QString::fromLatin1(suffix) << QByteArray(phase);
            }
        }
    }

    void endsWithinASecondInEveryPhase()
    {
        QFETCH(QString, suffix);
        QFETCH(QByteArray, phase);
        constexpr int mostMs = 1000;
        using End = void (*)(RawService &);
        const std::pair<End, int> ends[] = {
            {[](RawService &service) { service.process.terminate(); }, 3},
            {[](RawService &service) { service.hangUp(); }, 3},
            { [](RawService &service) { service.process.kill(); },
              -2 }};
        for (const auto &[end, code] : ends) {
            RawService service(executable());
            LongRepair repair(service, suffix);
            QVERIFY(repair.ask());
            QVERIFY(repair.comesTo(phase));
            QElapsedTimer timer;
            timer.start();
            end(service);
            QCOMPARE(service.waitForEnd(), code);
            QVERIFY2(timer.elapsed() < mostMs, qPrintable(QString::number(timer.elapsed())));
            QCOMPARE(repair.files(), QStringList());
        }
    }

#endif

    void killedInTheMiddleOfTheWork()
    {
        RawService service(executable());
        LongRepair repair(service);
        QVERIFY(repair.begin());
        service.process.kill();
        QCOMPARE(service.waitForEnd(), -2);
#ifdef Q_OS_WIN
        // A file without a name, which goes with its process, is unknown there: the next service
        // that writes something, wherever, removes what is left.
        QCOMPARE(repair.files().size(), 1);
        QVERIFY(repair.files().first().endsWith(QStringLiteral(".part")));
        RawService next(executable());
        LongRepair another(next);
        QVERIFY(another.begin());
        QCOMPARE(repair.files(), QStringList());
        next.hangUp();
        QCOMPARE(next.waitForEnd(), 3);
        QCOMPARE(another.files(), QStringList());
#else
        QCOMPARE(repair.files(), QStringList());
#endif
    }

    void neverOutlivesItsClient()
    {
        // A shell is the client: it starts the service and is then killed.
        RawService service(executable());
        QProcess shell;
        shell.setWorkingDirectory(service.root.path());
        shell.setProcessEnvironment(service.process.processEnvironment());
#ifdef Q_OS_WIN
        shell.start(QStringLiteral("cmd"),
                    QStringList({QStringLiteral("/c"), QDir::toNativeSeparators(executable())}) +
                        service.process.arguments());
#else
        shell.start(QStringLiteral("/bin/sh"),
                    QStringList({QStringLiteral("-c"), QStringLiteral("\"$@\" & wait"),
                                 QStringLiteral("sh"), executable()}) +
                        service.process.arguments());
#endif
        QVERIFY(shell.waitForStarted());
        QVERIFY(QTest::qWaitFor([&] { return hasPipes(service); }));
        shell.kill();
        QVERIFY(shell.waitForFinished());
        QVERIFY(
            QTest::qWaitFor([&] { return processesOf(executable(), service.token).isEmpty(); }));
        QVERIFY(QTest::qWaitFor([&] { return hasNoPipes(service); }));
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
        QStringList rows = QString::fromUtf8(log).remove(u'\r').trimmed().split(QLatin1Char('\n'));
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
