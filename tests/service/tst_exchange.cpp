#include "service/RepairClient.h"
#include "service/ServiceExchange.h"
#include "tests/support/ExpectedLog.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/ScriptedPipes.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QJsonObject payload{{QStringLiteral("method"), 7},
                          {QStringLiteral("a"), QStringLiteral("b")}};
const QString payloadText = QStringLiteral("{\"a\":\"b\",\"method\":7}");
const qsizetype requestSize = payloadText.size() + 1;

/** The token that the next call of this process will use. */
QString nextToken()
{
    const QStringList parts = requestToken().split(QLatin1Char('_'));
    return QStringLiteral("%1_%2").arg(parts[0]).arg(parts[1].toUInt() + 1);
}

/** One call with its surroundings: installation, log and the token that it will use. */
struct Call
{
    explicit Call(const QStringList &script = {})
        : folder(script), request(folder.request()), token(nextToken())
    {
    }

    RepairResponse send()
    {
        QElapsedTimer timer;
        timer.start();
        RepairResponse response =
            RepairClient(pipes).send(request, payload, request.timeoutSeconds);
        elapsedMs = timer.elapsed();
        return response;
    }

    ExpectedLog expect() const
    {
        ExpectedLog expected(folder, request, token);
        expected.begin(7, payloadText);
        return expected;
    }

    /** Up to the moment when both pipes are up and the request is about to be written. */
    ExpectedLog expectConnected() const
    {
        ExpectedLog expected = expect();
        expected.prepared().started();
        expected.pipeUp(expected.returnPipe()).pipeUp(expected.receivePipe());
        return expected.line(
            QStringLiteral("INFO Calling tarn_comm_write, id=N, bytes=%1").arg(requestSize));
    }

    ExpectedLog expectWritten() const
    {
        ExpectedLog expected = expectConnected();
        return expected.written(static_cast<int>(requestSize), requestSize);
    }

    ExpectedLog expectReceived(qsizetype bytes) const
    {
        ExpectedLog expected = expectWritten();
        return expected.line(
            QStringLiteral("INFO tarn_comm_read got response, id=N, bytes=%1").arg(bytes));
    }

    FaultFolder folder;
    RepairRequest request;
    QString token;
    ScriptedPipes pipes;
    LogTail log;
    /** Length of the call, in milliseconds. */
    qint64 elapsedMs = 0;
};

/** What the system says of a process that was killed. */
#ifdef Q_OS_WIN
constexpr int killedCode = 0xf291;
#else
constexpr int killedCode = 9;
#endif

QString libraryFolder(const Call &call)
{
    return QDir::toNativeSeparators(call.folder.serviceRoot() + QStringLiteral("/lib/x64"));
}

void compareFailure(const RepairResponse &response, int code, const QString &message)
{
    QCOMPARE(response.message, message);
    QCOMPARE(response.errCode, code);
    QVERIFY(!response.ok);
    QCOMPARE(response.function, -1);
    QCOMPARE(response.rawResponse, QString());
    QCOMPARE(response.object, QJsonObject());
}

} // namespace

/** One row for each way in which an exchange can go, each through a real process. */
class ExchangeTest : public TestCase
{
    Q_OBJECT

private:
    /** A failure that shows in the log as one ERROR line at the end. */
    static void compareFailedCall(Call &call, ExpectedLog expected, int code,
                                  const QString &message)
    {
        const RepairResponse response = call.send();
        compareFailure(response, code, message);
        QCOMPARE(call.log.texts(), expected.failed(code, message).lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    /** An answer that is understood; `answer` as the service gives it. */
    static void compareAnswered(const QString &answer, bool ok, int errCode, int function)
    {
        Call call(
            {QStringLiteral("serve"), QStringLiteral("answer ") + answer, QStringLiteral("await")});
        const RepairResponse response = call.send();
        QCOMPARE(response.ok, ok);
        QCOMPARE(response.errCode, errCode);
        QCOMPARE(response.function, function);
        QCOMPARE(response.rawResponse, answer);
        QCOMPARE(response.object, QJsonDocument::fromJson(answer.toUtf8()).object());
        QCOMPARE(response.message,
                 ok ? QStringLiteral("RepairService request finished successfully.")
                    : QStringLiteral("RepairService request failed, err_code=%1.").arg(errCode));
        QCOMPARE(call.log.texts(), call.expectReceived(answer.toUtf8().size())
                                       .raw(answer)
                                       .end(ok ? 1 : 0, errCode, function)
                                       .lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    /** An answer that is no JSON object; `script` sends it. */
    static void compareInvalid(const QString &sendLine, qsizetype bytes, const QString &raw,
                               const QString &parserText)
    {
        Call call({QStringLiteral("serve"), sendLine, QStringLiteral("await")});
        const RepairResponse response = call.send();
        QCOMPARE(response.message, QStringLiteral("Invalid JSON response: ") + parserText);
        QVERIFY(!response.ok);
        QCOMPARE(response.errCode, -1);
        QCOMPARE(response.function, -1);
        QCOMPARE(response.rawResponse, raw);
        QCOMPARE(response.object, QJsonObject());
        QCOMPARE(call.log.texts(), call.expectReceived(bytes).raw(raw).lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

private Q_SLOTS:
    // The installation.

    void executableMissing()
    {
        Call call;
        QFile::remove(call.folder.serviceExe());
        compareFailedCall(
            call, call.expect().resolved(), -1,
            QStringLiteral("RepairService.exe not found: %1").arg(call.folder.serviceExe()));
    }

#ifndef Q_OS_WIN
    // There every file may be executed.

    void executableNotExecutable()
    {
        Call call;
        QFile(call.folder.serviceExe())
            .setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        compareFailedCall(call, call.expect().prepared().starting(), -1,
                          QStringLiteral("Failed to start RepairService.exe: execve: Permission "
                                         "denied"));
    }
#endif

    void executableNoProgram()
    {
        Call call;
        QFile::remove(call.folder.serviceExe());
        writeFile(call.folder.serviceExe(), "\x7f no program");
        QFile(call.folder.serviceExe())
            .setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        // In the system's own words.
#ifdef Q_OS_WIN
        const RepairResponse response = call.send();
        QVERIFY2(response.message.startsWith(QStringLiteral(
                     "Failed to start RepairService.exe: Process failed to start: ")),
                 qPrintable(response.message));
        compareFailure(response, -1, response.message);
        QCOMPARE(call.folder.leftovers(), QStringList());
#else
        compareFailedCall(call, call.expect().prepared().starting(), -1,
                          QStringLiteral("Failed to start RepairService.exe: execve: Exec format "
                                         "error"));
#endif
    }

    void libraryFolderMissing()
    {
        Call call;
        const QString folder = call.folder.serviceRoot() + QStringLiteral("/lib/x64");
        QVERIFY(QDir(folder).removeRecursively());
        compareFailedCall(call, call.expect().resolved(), -1,
                          QStringLiteral("RepairService lib directory not found: %1").arg(folder));
    }

    void pipeLibraryFileMissing()
    {
        Call call;
        const QString file =
            call.folder.serviceRoot() + QStringLiteral("/lib/x64/TarnCommunicationSDK.dll");
        QVERIFY(QFile::remove(file));
        compareFailedCall(call, call.expect().resolved(), -1,
                          QStringLiteral("TarnCommunicationSDK.dll not found: %1").arg(file));
    }

    void logLibraryFileMissing()
    {
        Call call;
        const QString file = call.folder.serviceRoot() + QStringLiteral("/lib/x64/TarnLogSDK.dll");
        QVERIFY(QFile::remove(file));
        compareFailedCall(call, call.expect().resolved(), -1,
                          QStringLiteral("TarnLogSDK.dll not found: %1").arg(file));
    }

    void logDirectoryNotCreatable()
    {
        Call call;
        writeFile(call.folder.path(QStringLiteral("file")));
        call.request.logDir = call.folder.path(QStringLiteral("file/logs"));
        compareFailedCall(
            call, call.expect().resolved(), -1,
            QStringLiteral("Failed to create log directory: %1").arg(call.request.logDir));
    }

    void tempDirectoryNotCreatable()
    {
        Call call;
        writeFile(call.folder.path(QStringLiteral("file")));
        call.request.tempDir = call.folder.path(QStringLiteral("file/temp"));
        compareFailedCall(
            call, call.expect().resolved(), -1,
            QStringLiteral("Failed to create temp directory: %1").arg(call.request.tempDir));
    }

    void serviceLogDirectoryNotCreatable()
    {
        Call call;
        const QString logs = call.folder.serviceRoot() + QStringLiteral("/Logs");
        writeFile(logs);
        compareFailedCall(
            call, call.expect().resolved(), -1,
            QStringLiteral("Failed to create RepairService log directory: %1").arg(logs));
    }

    void configurationMissing()
    {
        Call call;
        QVERIFY(QFile::remove(call.request.configDir + QStringLiteral("/KeshRepairConfig.dat")));
        compareFailedCall(call, call.expect().resolved(), -1,
                          QStringLiteral("KeshRepairConfig.dat not found in config directory: %1")
                              .arg(call.request.configDir));
    }

    void configurationMissingWithCopyPresent()
    {
        Call call;
        QVERIFY(QFile::rename(call.request.configDir + QStringLiteral("/KeshRepairConfig.dat"),
                              call.folder.serviceRoot() + QStringLiteral("/KeshRepairConfig.dat")));
        compareFailedCall(call, call.expect().resolved(), -1,
                          QStringLiteral("KeshRepairConfig.dat not found in config directory: %1")
                              .arg(call.request.configDir));
    }

    void configurationCopied()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        writeFile(call.request.configDir + QStringLiteral("/KeshRepairConfig.dat"), "new");
        QVERIFY(call.send().ok);
        QCOMPARE(readFile(call.folder.serviceRoot() + QStringLiteral("/KeshRepairConfig.dat")),
                 QByteArray("new"));
    }

    void configurationThatCannotBeCopiedDoesNotEndTheCall()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        const QString config = call.request.configDir + QStringLiteral("/KeshRepairConfig.dat");
        QVERIFY(QFile::remove(config));
        QVERIFY(QDir().mkdir(config));
        QVERIFY(call.send().ok);
        QVERIFY(
            !QFile::exists(call.folder.serviceRoot() + QStringLiteral("/KeshRepairConfig.dat")));
    }

    void staleConfigurationStays()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        writeFile(call.folder.serviceRoot() + QStringLiteral("/KeshRepairConfig.dat"), "old");
        writeFile(call.request.configDir + QStringLiteral("/KeshRepairConfig.dat"), "new");
        QVERIFY(call.send().ok);
        QCOMPARE(readFile(call.folder.serviceRoot() + QStringLiteral("/KeshRepairConfig.dat")),
                 QByteArray("old"));
    }

    void firstMissingPieceIsNamed()
    {
        // Everything is missing at first; each round provides what the last one missed.
        Call call;
        QVERIFY(QDir(call.folder.serviceRoot()).removeRecursively());
        writeFile(call.folder.path(QStringLiteral("file")));
        const QString root = call.folder.serviceRoot();
        const QString blocked = call.folder.path(QStringLiteral("file/directory"));
        call.request.logDir = blocked;
        call.request.tempDir = blocked;
        const auto firstWord = [&call] {
            return call.send().message.section(QLatin1Char(':'), 0, 0);
        };

        QCOMPARE(firstWord(), QStringLiteral("RepairService.exe not found"));
        writeFile(call.folder.serviceExe());
        QCOMPARE(firstWord(), QStringLiteral("RepairService lib directory not found"));
        QVERIFY(QDir().mkpath(root + QStringLiteral("/lib/x64")));
        QCOMPARE(firstWord(), QStringLiteral("TarnCommunicationSDK.dll not found"));
        writeFile(root + QStringLiteral("/lib/x64/TarnCommunicationSDK.dll"));
        QCOMPARE(firstWord(), QStringLiteral("TarnLogSDK.dll not found"));
        writeFile(root + QStringLiteral("/lib/x64/TarnLogSDK.dll"));
        writeFile(root + QStringLiteral("/Logs"));
        QCOMPARE(firstWord(), QStringLiteral("Failed to create log directory"));
        call.request.logDir = call.folder.path(QStringLiteral("logs"));
        QCOMPARE(firstWord(), QStringLiteral("Failed to create temp directory"));
        call.request.tempDir = call.folder.path(QStringLiteral("temp"));
        QCOMPARE(firstWord(), QStringLiteral("Failed to create RepairService log directory"));
        QVERIFY(QFile::remove(root + QStringLiteral("/Logs")));
        QCOMPARE(firstWord(), QStringLiteral("KeshRepairConfig.dat not found in config directory"));
        writeFile(call.request.configDir + QStringLiteral("/KeshRepairConfig.dat"));
        QCOMPARE(firstWord(), QStringLiteral("Failed to start RepairService.exe"));
    }

    // The service's start and end.

    void startedAsStated()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        const QByteArray path = qgetenv("PATH");
        const RepairResponse response = call.send();
        QVERIFY(response.ok);
        const QString searchPath =
            libraryFolder(call) + QLatin1Char(';') + QString::fromLocal8Bit(path);
        const QStringList record = call.folder.startRecord(call.token);
        QCOMPARE(record.mid(1), QStringList({QStringLiteral("Kesh_File_Repair_Win"),
                                             QStringLiteral("VideoRepairServer"), call.token,
                                             call.folder.serviceRoot(), searchPath, searchPath}));
        QCOMPARE(qgetenv("PATH"), path);
#ifdef Q_OS_WIN
        QCOMPARE(qgetenv("Path"), path); // the same variable there
#else
        QVERIFY(!qEnvironmentVariableIsSet("Path"));
#endif
        QCOMPARE(response.object.value(QStringLiteral("request")).toObject(), payload);
        QVERIFY(call.elapsedMs >= 250);
    }

    void pipesAreDescribedAsStated()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("sleep 350"), QStringLiteral("echo"),
                   QStringLiteral("await")});
        QVERIFY(call.send().ok);
        QCOMPARE(call.pipes.records.size(), std::size_t{2});
        const ExpectedLog names = call.expect();
        for (const auto &[record, name, isRead] :
             {std::tuple(call.pipes.records[0], names.returnPipe(), 1),
              std::tuple(call.pipes.records[1], names.receivePipe(), 0)}) {
            QCOMPARE(QString::fromUtf8(record.serverName), name);
            QCOMPARE(QString::fromUtf8(record.localPath),
                     QDir::toNativeSeparators(call.request.configDir));
            QCOMPARE(QString::fromUtf8(record.logPath),
                     QDir::toNativeSeparators(call.request.logDir));
            QCOMPARE(int{record.isRead}, isRead);
        }
        QVERIFY(call.pipes.reads > 1);
        QVERIFY(call.pipes.buffersAreClean);
        // A tenth of a second between two of them.
        QVERIFY2(call.pipes.reads <= 1 + call.elapsedMs / 100,
                 qPrintable(QString::number(call.pipes.reads)));
    }

    void searchPathWithoutAnInheritedOne()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        const QByteArray path = qgetenv("PATH");
        qunsetenv("PATH");
        const bool ok = call.send().ok;
        qputenv("PATH", path);
        QVERIFY(ok);
        const QString searchPath = libraryFolder(call) + QLatin1Char(';');
        QCOMPARE(call.folder.startRecord(call.token).mid(5), QStringList({searchPath, searchPath}));
    }

#ifndef Q_OS_WIN
    // There both spellings are one variable.

    void pathVariableOfOtherSpellingWins()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        qputenv("Path", "/other");
        const bool ok = call.send().ok;
        qunsetenv("Path");
        QVERIFY(ok);
        const QString searchPath = libraryFolder(call) + QStringLiteral(";/other");
        QCOMPARE(call.folder.startRecord(call.token).mid(5), QStringList({searchPath, searchPath}));
    }
#endif

    void exitsAtOnceWithoutPipes()
    {
        Call call({QStringLiteral("exit 7")});
        compareFailureWithoutReturnPipe(call, call.expect().prepared());
    }

    void exitsAfterTheRequest()
    {
        compareStopped(QStringLiteral("exit 7"), QStringLiteral("exitCode=7, status=0"));
    }

    void diesByASignal()
    {
        compareStopped(QStringLiteral("signal 9"),
                       QStringLiteral("exitCode=%1, status=1").arg(killedCode));
    }

    void crashesWithItsPipesOpen()
    {
        Call call({QStringLiteral("create return"), QStringLiteral("create receive"),
                   QStringLiteral("signal 9")});
        compareFailureWithoutReturnPipe(call, call.expect().prepared());
    }

    void createsNoPipe()
    {
        Call call({QStringLiteral("noteTerminate"), QStringLiteral("forever")});
        compareFailureWithoutReturnPipe(call, call.expect().prepared());
        // It is killed, not asked.
        QVERIFY(!call.folder.wasAskedToEnd(call.token));
        QVERIFY(call.elapsedMs >= 10250);
    }

    void createsOnlyTheFirstPipe()
    {
        Call call({QStringLiteral("noteTerminate"), QStringLiteral("create return"),
                   QStringLiteral("forever")});
        const RepairResponse response = call.send();
        ExpectedLog expected = call.expect().prepared().started();
        const QString pipe = expected.receivePipe();
        const QString message =
            QStringLiteral("Failed to init/connect receive pipe '%1', code=3").arg(pipe);
        compareFailure(response, 3, message);
        QCOMPARE(call.log.texts(), expected.pipeUp(expected.returnPipe())
                                       .pipeBegin(pipe)
                                       .init(pipe, 0, ExpectedLog::handle())
                                       .connect(pipe, 3)
                                       .pipeTimeout(pipe, 3)
                                       .failed(3, message)
                                       .lines());
        // Each failed attempt was closed, and so was the pipe that was up.
        QCOMPARE(call.pipes.closes, call.pipes.inits);
        QVERIFY(!call.folder.wasAskedToEnd(call.token));
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void createsItsPipesLate()
    {
        Call call({QStringLiteral("sleep 1500"), QStringLiteral("serve"), QStringLiteral("echo"),
                   QStringLiteral("await")});
        QVERIFY(call.send().ok);
        QVERIFY(call.pipes.connects > 2);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    // The pipe library.

    void initFailsForAWhile()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        call.pipes.failingInits = 5;
        call.pipes.failureCode = 17;
        const RepairResponse response = call.send();
        QVERIFY(response.ok);
        QCOMPARE(call.pipes.inits, 7);
        // A failed init leaves nothing to close.
        QCOMPARE(call.pipes.closes, 2);
        ExpectedLog expected = call.expect().prepared().started();
        const QString pipe = expected.returnPipe();
        expected.pipeBegin(pipe).init(pipe, 17, QStringLiteral("0"));
        expected.init(pipe, 0, ExpectedLog::handle()).connect(pipe, 0);
        QCOMPARE(call.log.texts().mid(0, expected.lines().size()), expected.lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void connectFailsForAWhile()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        call.pipes.failingConnects = 5;
        call.pipes.failureCode = 18;
        QVERIFY(call.send().ok);
        // Each round starts again from init, after closing what the last one had opened.
        QCOMPARE(call.pipes.inits, 7);
        QCOMPARE(call.pipes.connects, 7);
        QCOMPARE(call.pipes.closes, 7);
        ExpectedLog expected = call.expect().prepared().started();
        const QString pipe = expected.returnPipe();
        expected.pipeBegin(pipe).init(pipe, 0, ExpectedLog::handle()).connect(pipe, 18);
        expected.connect(pipe, 0);
        QCOMPARE(call.log.texts().mid(0, expected.lines().size()), expected.lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void libraryCodeBecomesTheErrorCode()
    {
        Call call({QStringLiteral("forever")});
        call.pipes.failingInits = 1000000;
        call.pipes.failureCode = -42;
        const RepairResponse response = call.send();
        ExpectedLog expected = call.expect().prepared().started();
        const QString pipe = expected.returnPipe();
        const QString message =
            QStringLiteral("Failed to init/connect return pipe '%1', code=-42").arg(pipe);
        compareFailure(response, -42, message);
        QCOMPARE(call.log.texts(), expected.pipeBegin(pipe)
                                       .init(pipe, -42, QStringLiteral("0"))
                                       .pipeTimeout(pipe, -42)
                                       .failed(-42, message)
                                       .lines());
        QCOMPARE(call.pipes.closes, 0);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void shortWrite()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("forever")});
        call.pipes.writeResult = static_cast<int>(requestSize) - 1;
        compareFailedWrite(call, static_cast<int>(requestSize) - 1);
    }

    void nothingWritten()
    {
        Call call(
            {QStringLiteral("noteTerminate"), QStringLiteral("serve"), QStringLiteral("forever")});
        call.pipes.writeResult = 0;
        compareFailedWrite(call, 0);
        QVERIFY(!call.folder.wasAskedToEnd(call.token));
    }

    void negativeWriteIsTakenForWritten()
    {
        Call call({QStringLiteral("create return"), QStringLiteral("create receive"),
                   QStringLiteral("accept return"), QStringLiteral("accept receive"),
                   QStringLiteral("answer {\"err_code\":0}"), QStringLiteral("await")});
        call.pipes.writeResult = -1;
        const RepairResponse response = call.send();
        QVERIFY(response.ok);
        QCOMPARE(call.log.texts(),
                 call.expectConnected()
                     .written(-1, requestSize)
                     .line(QStringLiteral("INFO tarn_comm_read got response, id=N, bytes=14"))
                     .raw(QStringLiteral("{\"err_code\":0}"))
                     .end(1, 0, -1)
                     .lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void negativeReadEndsTheWait()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("await")});
        call.request.timeoutSeconds = 30;
        call.pipes.readResult = -5;
        const RepairResponse response = call.send();
        compareFailure(response, -1, QStringLiteral("Invalid JSON response: illegal value"));
        QCOMPARE(call.log.texts(), call.expectReceived(-5).raw({}).lines());
        QCOMPARE(call.pipes.reads, 1);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    // The wait.

    void silentUntilTheLimit()
    {
        Call call(
            {QStringLiteral("noteTerminate"), QStringLiteral("serve"), QStringLiteral("forever")});
        call.request.timeoutSeconds = 2;
        compareTimeout(call);
        // It is asked to end, and not waited for once it has ended.
        QVERIFY(call.folder.wasAskedToEnd(call.token));
        QVERIFY(call.elapsedMs >= 2250);
        // Ten times the limit: a slow machine may well take more than the limit itself.
        QVERIFY(call.elapsedMs < 20000);
    }

    void ignoresTheRequestToEnd()
    {
        Call call({QStringLiteral("ignoreTerminate"), QStringLiteral("serve"),
                   QStringLiteral("forever")});
        call.request.timeoutSeconds = 1;
        compareTimeout(call);
        // One second for the answer, three to end.
        QVERIFY(call.elapsedMs >= 4250);
    }

    void noTimeMeansNoRead()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
        call.request.timeoutSeconds = 0;
        compareTimeout(call);
        QCOMPARE(call.pipes.reads, 0);
    }

    void answersAndLingers()
    {
        Call call({QStringLiteral("ignoreTerminate"), QStringLiteral("serve"),
                   QStringLiteral("echo"), QStringLiteral("forever")});
        QVERIFY(call.send().ok);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void answersAndEnds()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("sleep 350"), QStringLiteral("echo"),
                   QStringLiteral("await"), QStringLiteral("exit 3")});
        QVERIFY(call.send().ok);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    // The answer's form.

    void answerIsAnArray()
    {
        compareInvalid(QStringLiteral("answer [1,2]"), 5, QStringLiteral("[1,2]"),
                       QStringLiteral("no error occurred"));
    }

    void answerIsText()
    {
        compareInvalid(QStringLiteral("answer  hello\\n"), 7, QStringLiteral("hello"),
                       QStringLiteral("illegal value"));
    }

    void answerIsBrokenUtf8()
    {
        compareInvalid(QStringLiteral("answer {\"a\":\"\\xff\"}"), 9,
                       QStringLiteral("{\"a\":\"\uFFFD\"}"), QStringLiteral("invalid UTF8 string"));
    }

    void answerIsBlank()
    {
        compareInvalid(QStringLiteral("answer \\n"), 1, QString(), QStringLiteral("illegal value"));
    }

    void answerIsEmptyAndTheServiceStays()
    {
        // Nothing has arrived: a message without bytes cannot be told from none.
        Call call(
            {QStringLiteral("serve"), QStringLiteral("answerEmpty"), QStringLiteral("forever")});
        call.request.timeoutSeconds = 1;
        compareTimeout(call);
    }

    void answerIsEmptyAndTheServiceEnds()
    {
        Call call(
            {QStringLiteral("serve"), QStringLiteral("answerEmpty"), QStringLiteral("exit 0")});
        const QString text = QStringLiteral("stopped before response, exitCode=0, status=0");
        compareFailure(call.send(), -1, QStringLiteral("RepairService.exe %1.").arg(text));
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void answerOfGreatestSize()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("answerSize 262143"),
                   QStringLiteral("await")});
        const RepairResponse response = call.send();
        QVERIFY(response.ok);
        QCOMPARE(response.rawResponse.size(), 262143);
        QCOMPARE(response.object.value(QStringLiteral("fill")).toString().size(),
                 262143 - qsizetype(sizeof R"({"err_code":0,"fill":""})" - 1));
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void answerTooLong()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("answerSize 262144"),
                   QStringLiteral("await")});
        const RepairResponse response = call.send();
        QVERIFY(!response.ok);
        QCOMPARE(response.message, QStringLiteral("Invalid JSON response: unterminated string"));
        QCOMPARE(response.rawResponse.size(), 262143);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    void answerIsTrimmedInTheRawText()
    {
        Call call({QStringLiteral("serve"), QStringLiteral("answer   {\"err_code\":0} \\n"),
                   QStringLiteral("await")});
        const RepairResponse response = call.send();
        QVERIFY(response.ok);
        QCOMPARE(response.rawResponse, QStringLiteral("{\"err_code\":0}"));
    }

    // The answer's meaning.

    void codeZero()
    {
        compareAnswered(QStringLiteral("{\"err_code\":0}"), true, 0, -1);
    }
    void codeZeroFunctionTwo()
    {
        compareAnswered(QStringLiteral("{\"err_code\":0,\"function\":2}"), true, 0, 2);
    }
    void codePositiveFunctionOne()
    {
        compareAnswered(QStringLiteral("{\"err_code\":5,\"function\":1}"), true, 5, 1);
    }
    void codePositiveFunctionTwo()
    {
        compareAnswered(QStringLiteral("{\"err_code\":5,\"function\":2}"), false, 5, 2);
    }
    void codePositiveWithoutFunction()
    {
        compareAnswered(QStringLiteral("{\"err_code\":5}"), false, 5, -1);
    }
    void codeNegativeFunctionOne()
    {
        compareAnswered(QStringLiteral("{\"err_code\":-3,\"function\":1}"), false, -3, 1);
    }
    void codeNegative()
    {
        compareAnswered(QStringLiteral("{\"err_code\":-3}"), false, -3, -1);
    }
    void codeMissing()
    {
        compareAnswered(QStringLiteral("{\"function\":1}"), false, -1, 1);
    }
    void codeIsAString()
    {
        compareAnswered(QStringLiteral("{\"err_code\":\"0\",\"function\":1}"), false, -1, 1);
    }
    void codeIsADouble()
    {
        compareAnswered(QStringLiteral("{\"err_code\":0.5,\"function\":1}"), false, -1, 1);
    }
    void codeIsAWholeDouble()
    {
        compareAnswered(QStringLiteral("{\"err_code\":0.0,\"function\":1}"), true, 0, 1);
    }
    void functionIsAString()
    {
        compareAnswered(QStringLiteral("{\"err_code\":5,\"function\":\"1\"}"), false, 5, -1);
    }

private:
    /** The service ends by `scriptLine` once it has the request. */
    static void compareStopped(const QString &scriptLine, const QString &outcome)
    {
        Call call({QStringLiteral("serve"), scriptLine});
        call.request.timeoutSeconds = 30;
        const RepairResponse response = call.send();
        const QString text = QStringLiteral("stopped before response, ") + outcome;
        const QString message = QStringLiteral("RepairService.exe %1.").arg(text);
        compareFailure(response, -1, message);
        QCOMPARE(call.log.texts(), call.expectWritten()
                                       .line(QStringLiteral("WARN RepairService ") + text)
                                       .failed(-1, message)
                                       .lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    static void compareFailureWithoutReturnPipe(Call &call, ExpectedLog expected)
    {
        const RepairResponse response = call.send();
        expected.started();
        const QString pipe = expected.returnPipe();
        const QString message =
            QStringLiteral("Failed to init/connect return pipe '%1', code=3").arg(pipe);
        compareFailure(response, 3, message);
        QCOMPARE(call.log.texts(), expected.pipeBegin(pipe)
                                       .init(pipe, 0, ExpectedLog::handle())
                                       .connect(pipe, 3)
                                       .pipeTimeout(pipe, 3)
                                       .failed(3, message)
                                       .lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    static void compareFailedWrite(Call &call, int result)
    {
        const RepairResponse response = call.send();
        const QString message = QStringLiteral("Failed to send request to RepairService.exe.");
        compareFailure(response, -1, message);
        QCOMPARE(call.log.texts(),
                 call.expectConnected().written(result, requestSize).failed(-1, message).lines());
        QCOMPARE(call.pipes.closes, 2);
        QCOMPARE(call.folder.leftovers(), QStringList());
    }

    static void compareTimeout(Call &call)
    {
        const RepairResponse response = call.send();
        const QString message =
            QStringLiteral("No response from RepairService.exe before timeout.");
        compareFailure(response, -1, message);
        QCOMPARE(call.log.texts(), call.expectWritten().failed(-1, message).lines());
        QCOMPARE(call.folder.leftovers(), QStringList());
    }
};

VELLUMIX_TEST_MAIN(ExchangeTest)

#include "tst_exchange.moc"
