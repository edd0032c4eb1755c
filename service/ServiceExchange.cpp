#include "service/ServiceExchange.h"

#include "app/QtLog.h"
#include "service/PipeChannel.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QProcessEnvironment>
#include <QThread>

#include <atomic>

namespace {

constexpr int startTimeoutMs = 5000;
constexpr unsigned long pipeCreationMs = 250;
constexpr int pipeTimeoutMs = 10000;
constexpr unsigned long pollIntervalMs = 100;
constexpr int terminateGraceMs = 3000;
constexpr int killGraceMs = 2000;

// One byte stays free behind the longest answer, so that its text is zero-terminated.
constexpr qsizetype receiveBufferSize = 262144;
constexpr std::uint32_t receiveCapacity = 262143;

QString closing()
{
    return QStringLiteral("RepairService.exe is not started: the program is closing.");
}

QString serverName()
{
    return QStringLiteral("VideoRepairServer");
}

QProcessEnvironment serviceEnvironment(const QString &serviceLibDir)
{
    const QString path = QStringLiteral("PATH");
    const QString windowsPath = QStringLiteral("Path");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString inherited = environment.value(windowsPath, environment.value(path));
    // The separator is the service's, which knows only this one, and the same on every system.
    const QString searchPath =
        QDir::toNativeSeparators(serviceLibDir) + QLatin1Char(';') + inherited;
    environment.insert(windowsPath, searchPath);
    environment.insert(path, searchPath);
    return environment;
}

} // namespace

QString requestToken()
{
    static std::atomic<quint32> counter{0};
    return TextPattern::fill(QStringLiteral("%1_%2"), QCoreApplication::applicationPid(),
                             ++counter);
}

ServiceExchange::ServiceExchange(const RequestPreparation::ServicePaths &servicePaths,
                                 const RepairRequest &request, PipeOperations &pipeOperations,
                                 ServiceGate &serviceGate)
    : paths(servicePaths),
      pipes(pipeOperations),
      gate(serviceGate),
      token(requestToken()),
      readPipe(makeRecord(TextPattern::fill(QStringLiteral("%1_return_%2"), serverName(), token),
                          PipeDirection::Read, request.configDir, request.logDir)),
      writePipe(makeRecord(TextPattern::fill(QStringLiteral("%1_receive_%2"), serverName(), token),
                           PipeDirection::Write, request.configDir, request.logDir))
{
}

ServiceExchange::Outcome ServiceExchange::run(const QByteArray &requestLine, int timeoutSeconds)
{
    if (const QString failure = startService(); !failure.isEmpty()) {
        killService();
        return {.answer = {}, .failure = failure};
    }
    if (Outcome outcome = connectPipes(); !outcome.failure.isEmpty()) {
        killService();
        return outcome;
    }
    if (!writeRequest(requestLine)) {
        closePipes();
        killService();
        return {.answer = {},
                .failure = QStringLiteral("Failed to send request to RepairService.exe.")};
    }
    Outcome outcome = awaitAnswer(timeoutSeconds);
    closePipes();
    endService();
    return outcome;
}

QString ServiceExchange::startService()
{
    process.setProgram(paths.serviceExe);
    process.setWorkingDirectory(paths.serviceRoot);
    process.setArguments({QStringLiteral("Kesh_File_Repair_Win"), serverName(), token});
    process.setProcessEnvironment(serviceEnvironment(paths.serviceLibDir));
    LOG_INFO(QStringLiteral("Starting RepairService, workDir=%1, args=%2"), paths.serviceRoot,
             process.arguments().join(QLatin1Char(' ')));
    if (!gate.enter())
        return closing();
    process.start(QIODevice::ReadWrite);
    const bool started = process.waitForStarted(startTimeoutMs);
    if (!gate.leave())
        return closing();
    if (!started)
        return TextPattern::fill(QStringLiteral("Failed to start RepairService.exe: %1"),
                                 process.errorString());
    LOG_INFO(QStringLiteral("RepairService started, pid=%1, returnPipe=%2, receivePipe=%3"),
             process.processId(), QString::fromUtf8(readPipe.serverName),
             QString::fromUtf8(writePipe.serverName));
    QThread::msleep(pipeCreationMs);
    return {};
}

ServiceExchange::Outcome ServiceExchange::connectPipes()
{
    if (const qint32 code = initAndConnectPipe(pipes, readPipe, pipeTimeoutMs); code != 0)
        return {.answer = {},
                .failure = TextPattern::fill(
                    QStringLiteral("Failed to init/connect return pipe '%1', code=%2"),
                    QString::fromUtf8(readPipe.serverName), code),
                .failureCode = code};
    if (const qint32 code = initAndConnectPipe(pipes, writePipe, pipeTimeoutMs); code != 0) {
        pipes.close(readPipe);
        return {.answer = {},
                .failure = TextPattern::fill(
                    QStringLiteral("Failed to init/connect receive pipe '%1', code=%2"),
                    QString::fromUtf8(writePipe.serverName), code),
                .failureCode = code};
    }
    return {};
}

bool ServiceExchange::writeRequest(const QByteArray &requestLine)
{
    const auto size = static_cast<std::uint32_t>(requestLine.size());
    const std::int32_t id = writePipe.id;
    LOG_INFO(QStringLiteral("Calling tarn_comm_write, id=%1, bytes=%2"), id, size);
    const std::int32_t written = pipes.write(writePipe, requestLine.constData(), size);
    LOG_INFO(QStringLiteral("tarn_comm_write returned %1/%2"), written, size);
    // Compared as unsigned on purpose: a negative result passes. What it means is the library's
    // business; whether the request arrived shows in the answer.
    return static_cast<std::uint32_t>(written) >= size;
}

ServiceExchange::Outcome ServiceExchange::awaitAnswer(int timeoutSeconds)
{
    QByteArray buffer(receiveBufferSize, Qt::Uninitialized);
    const qint64 deadline =
        QDateTime::currentMSecsSinceEpoch() + static_cast<qint64>(timeoutSeconds) * 1000;
    while (QDateTime::currentMSecsSinceEpoch() < deadline) {
        buffer.fill('\0');
        const std::int32_t received = pipes.read(readPipe, buffer.data(), receiveCapacity);
        if (received != 0) {
            const std::int32_t id = readPipe.id;
            LOG_INFO(QStringLiteral("tarn_comm_read got response, id=%1, bytes=%2"), id, received);
            buffer.truncate(qMax(received, 0));
            return {.answer = buffer, .failure = {}};
        }
        process.waitForFinished(0);
        if (process.state() == QProcess::NotRunning) {
            const int status = process.exitStatus();
            LOG_WARN(
                QStringLiteral("RepairService stopped before response, exitCode=%1, status=%2"),
                process.exitCode(), status);
            return {.answer = {},
                    .failure = TextPattern::fill(
                        QStringLiteral("RepairService.exe stopped before response, exitCode=%1, "
                                       "status=%2."),
                        process.exitCode(), status)};
        }
        QThread::msleep(pollIntervalMs);
    }
    return {.answer = {},
            .failure = QStringLiteral("No response from RepairService.exe before timeout.")};
}

void ServiceExchange::closePipes()
{
    pipes.close(readPipe);
    pipes.close(writePipe);
}

void ServiceExchange::killService()
{
    process.kill();
    process.waitForFinished(killGraceMs);
}

void ServiceExchange::endService()
{
    process.terminate();
    process.waitForFinished(terminateGraceMs);
    if (process.state() != QProcess::NotRunning)
        killService();
}
