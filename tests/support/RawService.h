#pragma once

#include "service/PipeLibrary.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

/**
 * A service process started and spoken to step by step, without the client's own rules and
 * waits. Its root is a folder of its own; the executable may be any.
 */
class RawService
{
public:
    explicit RawService(const QString &executable)
    {
        // Where the libraries stand beside the program's folder, as the client tells a service.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QString libraries = QFileInfo(executable).path() + QStringLiteral("/../../lib/x64");
        if (QFileInfo::exists(libraries))
            environment.insert(QStringLiteral("PATH"),
                               QDir::toNativeSeparators(QDir::cleanPath(libraries)) +
                                   QDir::listSeparator() +
                                   environment.value(QStringLiteral("PATH")));
        process.setProcessEnvironment(environment);

        static int counter = 0;
        token = QStringLiteral("%1_raw%2").arg(QCoreApplication::applicationPid()).arg(++counter);
        process.setProgram(executable);
        process.setWorkingDirectory(root.path());
        process.setArguments(
            {QStringLiteral("Kesh_File_Repair_Win"), QStringLiteral("VideoRepairServer"), token});
    }

    ~RawService()
    {
        process.kill();
        process.waitForFinished();
    }

    RawService(const RawService &) = delete;
    RawService &operator=(const RawService &) = delete;

    bool start()
    {
        process.start();
        return process.waitForStarted();
    }

    bool connectPipes() { return connectPipe(returnPipe) && connectPipe(receivePipe); }

    bool connectPipe(CommunicationCommonField_t &pipe)
    {
        pipe = makeRecord(
            QStringLiteral("VideoRepairServer_%1_%2")
                .arg(&pipe == &returnPipe ? QStringLiteral("return") : QStringLiteral("receive"),
                     token),
            &pipe == &returnPipe ? PipeDirection::Read : PipeDirection::Write, {}, {});
        return pipes.init(pipe) == 0 &&
               QTest::qWaitFor([&] { return pipes.connect(pipe) == 0; }, 20000);
    }

    bool write(const QByteArray &line)
    {
        return pipes.write(receivePipe, line.constData(),
                           static_cast<std::uint32_t>(line.size())) == line.size();
    }

    /** Waits for the answer; empty when there is none in time. */
    QByteArray read()
    {
        QByteArray buffer(4 << 20, '\0');
        std::int32_t size = 0;
        const bool came = QTest::qWaitFor(
            [&] {
                size = pipes.read(returnPipe, buffer.data(),
                                  static_cast<std::uint32_t>(buffer.size()));
                return size != 0;
            },
            20000);
        return came ? buffer.left(size) : QByteArray();
    }

    /** Waits for the answer as long as the process runs, so many seconds at most. */
    QByteArray readWhileRunning(int seconds)
    {
        QByteArray buffer(4 << 20, '\0');
        const auto readOnce = [&] {
            return pipes.read(returnPipe, buffer.data(), static_cast<std::uint32_t>(buffer.size()));
        };
        std::int32_t size = 0;
        const bool isOver = QTest::qWaitFor(
            [&] {
                const bool hasEnded = process.state() == QProcess::NotRunning;
                size = readOnce();
                return size != 0 || hasEnded;
            },
            seconds * 1000);
        return isOver && size > 0 ? buffer.left(size) : QByteArray();
    }

    /** Something else on this machine ended it: closing a client ends all services. */
    bool wasKilled() const
    {
        constexpr int killSignal = 9;
        return process.state() == QProcess::NotRunning &&
               process.exitStatus() == QProcess::CrashExit && process.exitCode() == killSignal;
    }

    void hangUp()
    {
        pipes.close(returnPipe);
        pipes.close(receivePipe);
    }

    /** Waits for the process's end. Returns its exit code; -1 when it stayed, -2 by a signal. */
    int waitForEnd()
    {
        if (process.state() != QProcess::NotRunning && !process.waitForFinished(20000))
            return -1;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }

    PipeLibrary &pipes = PipeLibrary::instance();
    QTemporaryDir root;
    QString token;
    QProcess process;
    CommunicationCommonField_t returnPipe{};
    CommunicationCommonField_t receivePipe{};
};
