#include "app/QtLog.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QScopedValueRollback>

#include <mutex>

#ifdef Q_OS_WIN
#include "app/LongPath.h"
#include <qt_windows.h>
#else
#include <unistd.h>
#endif

namespace {

std::mutex &logMutex()
{
    static std::mutex mutex;
    return mutex;
}

// Never destroyed: a worker that outlives main() may still write its line.
QString &logFilePath()
{
    static QString *path = new QString;
    return *path;
}

QString createLogFolder()
{
    const QString folder =
        QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("Logs"));
    QDir().mkpath(folder);
    return QDir(folder).absoluteFilePath(QStringLiteral("Korvane.log"));
}

quint64 currentThreadId()
{
#ifdef Q_OS_WIN
    return GetCurrentThreadId();
#else
    return static_cast<quint64>(gettid());
#endif
}

/**
 * Adds the line at what is then the file's end, whoever else writes to it. The file is opened for
 * each line, so that every line is on disk when the call returns and a log that was moved away or
 * deleted starts anew.
 */
void append(const QString &path, const QString &line)
{
#ifdef Q_OS_WIN
    // Qt's way to append looks for the end and then writes: another program's line in between
    // would be written over. With the right to append alone, the system finds the end itself.
    const HANDLE file = CreateFileW(reinterpret_cast<const wchar_t *>(longPath(path).utf16()),
                                    FILE_APPEND_DATA | SYNCHRONIZE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    QByteArray text = line.toUtf8();
    text.replace('\n', "\r\n");
    text.append("\r\n");
    DWORD written = 0;
    WriteFile(file, text.constData(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
#else
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append))
        file.write(line.toUtf8() + '\n');
#endif
}

const char *levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "DEBUG";
    case QtWarningMsg:
        return "WARN";
    case QtCriticalMsg:
        return "ERROR";
    case QtFatalMsg:
        return "FATAL";
    case QtInfoMsg:
        break;
    }
    return "INFO";
}

} // namespace

void QtLog::init()
{
    logFilePath() = createLogFolder();
    // Signature and line are fixed, wherever the code moves to: the first line of a session looks
    // the same in every log.
    write("INFO", "void QtLog::init()", 50,
          TextPattern::fill(QStringLiteral("Qt log initialized, file=%1"), logFilePath()));
}

void QtLog::write(const char *level, const char *function, int line, const QString &message)
{
    // Should Qt itself have something to say of the file, the message must not wait for this very
    // line to be done.
    thread_local bool isWriting = false;
    if (isWriting)
        return;
    const QScopedValueRollback writing(isWriting, true);
    const std::lock_guard lock(logMutex());
    if (logFilePath().isEmpty())
        logFilePath() = createLogFolder();

    append(logFilePath(), QStringLiteral("%1 [%2] [tid=%3] %4:%5 - %6")
                              .arg(QDateTime::currentDateTime().toString(
                                       QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")),
                                   QString::fromUtf8(level), QString::number(currentThreadId()),
                                   QString::fromUtf8(function), QString::number(line), message));
}

void QtLog::messageHandler(QtMsgType type, const QMessageLogContext &context,
                           const QString &message)
{
    write(levelName(type), context.function != nullptr ? context.function : "QtMessage",
          context.line, message);
}
