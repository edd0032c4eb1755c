// A small client without a window, to be copied into a folder of its own by tests: its log, its
// defaults and its search for the pipe library all start from that folder.
//
//   write-before-init        one line, then init, then one more
//   write-around-obstacle    a line while a folder stands in the log file's place, then, without
//                            it, one more
//   messages                 messages of Qt's of every kind, through the handler
//   write-threads N M        M lines from each of N threads
//   call OPERATION JSON      one call of RepairClient; prints the response as JSON
//
// OPERATION is repair, metadata or picture; JSON holds the members of RepairRequest by name, and
// "videoPath", "photoPath" and "scale".

#include "app/QtLog.h"
#include "service/RepairClient.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QJsonDocument>

#include <cstdio>
#include <thread>
#include <vector>

namespace {

void writeBeforeInit()
{
    LOG_INFO(QStringLiteral("early %1"), 1);
    QtLog::init();
    LOG_WARN(QStringLiteral("late %1"), 2);
}

void writeAroundObstacle()
{
    const QString path =
        QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log");
    LOG_INFO(QStringLiteral("%1"), QStringLiteral("before"));
    QDir().rmdir(path);
    LOG_INFO(QStringLiteral("%1"), QStringLiteral("after"));
}

void writeMessages()
{
    QtLog::init();
    qInstallMessageHandler(QtLog::messageHandler);
    qDebug("a debug message");
    qInfo("an info message");
    qWarning("a warning");
    qCritical("a critical message");
    // qFatal itself would end the process after the handler's return.
    QtLog::messageHandler(QtFatalMsg, QMessageLogContext("file", 7, "void function()", "default"),
                          QStringLiteral("a fatal message"));
    QtLog::messageHandler(QtWarningMsg, QMessageLogContext(), QStringLiteral("without context"));
}

void writeFromThreads(int threadCount, int lineCount)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(threadCount));
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([t, lineCount] {
            for (int i = 0; i < lineCount; ++i)
                LOG_INFO(QStringLiteral("thread %1 line %2 %3"), t, i,
                         QString(200, QLatin1Char('x')));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

RepairRequest requestFrom(const QJsonObject &json)
{
    const auto text = [&json](const char *key) {
        return json.value(QString::fromLatin1(key)).toString();
    };
    RepairRequest request;
    request.advanced = json.value(QStringLiteral("advanced")).toBool();
    request.serviceRoot = text("serviceRoot");
    request.damagedPath = text("damagedPath");
    request.samplePath = text("samplePath");
    request.outFilePath = text("outFilePath");
    request.logDir = text("logDir");
    request.tempDir = text("tempDir");
    request.configDir = text("configDir");
    request.timeoutSeconds = json.value(QStringLiteral("timeoutSeconds")).toInt();
    return request;
}

RepairResponse call(const QString &operation, const QJsonObject &json)
{
    const RepairRequest request = requestFrom(json);
    const QString video = json.value(QStringLiteral("videoPath")).toString();
    if (operation == QStringLiteral("repair"))
        return RepairClient().repair(request);
    if (operation == QStringLiteral("metadata"))
        return RepairClient().extractMetadata(request, video);
    return RepairClient().extractFirstFrameScale(request, video,
                                                 json.value(QStringLiteral("photoPath")).toString(),
                                                 json.value(QStringLiteral("scale")).toInt());
}

void printResponse(const RepairResponse &response)
{
    const QJsonObject json{{QStringLiteral("ok"), response.ok},
                           {QStringLiteral("errCode"), response.errCode},
                           {QStringLiteral("function"), response.function},
                           {QStringLiteral("message"), response.message},
                           {QStringLiteral("object"), response.object}};
    std::puts(QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = arguments.value(1);
    if (command == QStringLiteral("write-before-init"))
        writeBeforeInit();
    else if (command == QStringLiteral("write-around-obstacle"))
        writeAroundObstacle();
    else if (command == QStringLiteral("messages"))
        writeMessages();
    else if (command == QStringLiteral("write-threads"))
        writeFromThreads(arguments.value(2).toInt(), arguments.value(3).toInt());
    else if (command == QStringLiteral("call"))
        printResponse(call(arguments.value(2),
                           QJsonDocument::fromJson(arguments.value(3).toUtf8()).object()));
    else
        return 2;
    return 0;
}
