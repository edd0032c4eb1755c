#pragma once

#include "tests/support/FaultFolder.h"

#include <QCoreApplication>
#include <QStringList>

/** Composes the lines that one exchange must leave in the log, as "LEVEL message". */
class ExpectedLog
{
public:
    ExpectedLog(const FaultFolder &faultFolder, RepairRequest repairRequest, QString requestToken)
        : folder(faultFolder), request(std::move(repairRequest)), token(std::move(requestToken))
    {
    }

    ExpectedLog &line(const QString &text)
    {
        texts.append(text);
        return *this;
    }

    ExpectedLog &begin(int method, const QString &payload)
    {
        return line(
            QStringLiteral("INFO RepairClient::send begin, method=%1, timeoutSeconds=%2, "
                           "payload=%3")
                .arg(QString::number(method), QString::number(request.timeoutSeconds), payload));
    }

    ExpectedLog &resolved()
    {
        return line(QStringLiteral("INFO Resolved serviceRoot=%1, serviceExe=%1/bin/x64/"
                                   "RepairService.exe, serviceLibDir=%1/lib/x64")
                        .arg(folder.serviceRoot()));
    }

    ExpectedLog &prepared()
    {
        return resolved().line(
            QStringLiteral("INFO Request dirs ready, configPath=%1, logPath=%2, "
                           "serviceLogPath=%3/Logs, tempPath=%4")
                .arg(request.configDir, request.logDir, folder.serviceRoot(), request.tempDir));
    }

    ExpectedLog &starting()
    {
        return line(QStringLiteral("INFO Starting RepairService, workDir=%1, "
                                   "args=Kesh_File_Repair_Win VideoRepairServer %2")
                        .arg(folder.serviceRoot(), token));
    }

    ExpectedLog &started()
    {
        return starting().line(
            QStringLiteral("INFO RepairService started, pid=%1, returnPipe=%2, receivePipe=%3")
                .arg(folder.startRecord(token).value(0), returnPipe(), receivePipe()));
    }

    ExpectedLog &pipeBegin(const QString &pipe)
    {
        return line(
            QStringLiteral("INFO initAndConnectPipe begin, name=%1, isRead=%2, timeoutMs=10000")
                .arg(pipe, QString::number(pipe == returnPipe() ? 1 : 0)));
    }

    ExpectedLog &init(const QString &pipe, int code, const QString &id)
    {
        return line(QStringLiteral("INFO init_communication_sdk returned %1, name=%2, id=%3")
                        .arg(QString::number(code), pipe, id));
    }

    ExpectedLog &connect(const QString &pipe, int code)
    {
        return line(QStringLiteral("INFO tarn_comm_connect returned %1, name=%2, id=N")
                        .arg(QString::number(code), pipe));
    }

    ExpectedLog &pipeUp(const QString &pipe)
    {
        return pipeBegin(pipe).init(pipe, 0, handle()).connect(pipe, 0);
    }

    ExpectedLog &pipeTimeout(const QString &pipe, int code)
    {
        return line(QStringLiteral("WARN initAndConnectPipe timeout/fail, name=%1, lastError=%2")
                        .arg(pipe, QString::number(code)));
    }

    ExpectedLog &written(int result, qsizetype size)
    {
        return line(QStringLiteral("INFO tarn_comm_write returned %1/%2").arg(result).arg(size));
    }

    ExpectedLog &failed(int code, const QString &message)
    {
        return line(QStringLiteral("ERROR RepairClient fail, errCode=%1, message=%2")
                        .arg(QString::number(code), message));
    }

    ExpectedLog &raw(const QString &answer)
    {
        return line(QStringLiteral("INFO RepairService raw response=%1").arg(answer));
    }

    ExpectedLog &end(int ok, int errCode, int function)
    {
        return line(QStringLiteral("INFO RepairClient::send end, ok=%1, errCode=%2, function=%3")
                        .arg(ok)
                        .arg(errCode)
                        .arg(function));
    }

    QString returnPipe() const { return QStringLiteral("VideoRepairServer_return_") + token; }
    QString receivePipe() const { return QStringLiteral("VideoRepairServer_receive_") + token; }

    /** How LogTail shows a handle that the pipe library gave. */
    static QString handle() { return QStringLiteral("N"); }

    QStringList lines() const { return texts; }

private:
    const FaultFolder &folder;
    RepairRequest request;
    QString token;
    QStringList texts;
};
