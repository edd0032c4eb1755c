#include "service/PipeChannel.h"

#include "app/QtLog.h"

#include <QDateTime>
#include <QThread>

std::int32_t initAndConnectPipe(PipeOperations &pipes, CommunicationCommonField_t &record,
                                int timeoutMs)
{
    constexpr unsigned long retryIntervalMs = 100;

    const QString name = QString::fromUtf8(record.serverName);
    LOG_INFO(QStringLiteral("initAndConnectPipe begin, name=%1, isRead=%2, timeoutMs=%3"), name,
             static_cast<int>(record.isRead), timeoutMs);
    const qint64 deadline = QDateTime::currentMSecsSinceEpoch() + timeoutMs;
    std::int32_t code = -1;
    while (QDateTime::currentMSecsSinceEpoch() < deadline) {
        code = pipes.init(record);
        // A copy: nothing can be bound to a field of the packed record.
        std::int32_t id = record.id;
        LOG_INFO(QStringLiteral("init_communication_sdk returned %1, name=%2, id=%3"), code, name,
                 id);
        if (code == 0) {
            code = pipes.connect(record);
            id = record.id;
            LOG_INFO(QStringLiteral("tarn_comm_connect returned %1, name=%2, id=%3"), code, name,
                     id);
            if (code == 0)
                return 0;
            if (id != 0) {
                pipes.close(record);
                record.id = 0;
            }
        }
        QThread::msleep(retryIntervalMs);
    }
    LOG_WARN(QStringLiteral("initAndConnectPipe timeout/fail, name=%1, lastError=%2"), name, code);
    return code;
}
