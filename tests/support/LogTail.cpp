#include "tests/support/LogTail.h"

#include "tests/support/SystemState.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>

namespace {

QString logPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log");
}

QString readFrom(const QString &path, qint64 start)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    file.seek(start);
    return QString::fromUtf8(file.readAll());
}

} // namespace

QList<LogLine> parseLog(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3}) \\[([A-Z]+)\\] "
                       "\\[tid=(\\d+)\\] (.+?):(\\d+) - (.*)$"),
        QRegularExpression::DotMatchesEverythingOption);
    QList<LogLine> lines;
    QStringList rows = text.split(QLatin1Char('\n'));
    rows.removeLast();
    for (const QString &row : rows) {
        const auto match = pattern.match(row);
        if (match.hasMatch())
            lines.append({.time = match.captured(1),
                          .level = match.captured(2),
                          .threadId = match.captured(3).toULongLong(),
                          .function = match.captured(4),
                          .line = match.captured(5).toInt(),
                          .message = match.captured(6)});
        else if (!lines.isEmpty())
            lines.last().message += QLatin1Char('\n') + row;
    }
    return lines;
}

QList<LogLine> readLog(const QString &path)
{
    return parseLog(readFrom(path, 0));
}

LogTail::LogTail() : start(QFile(logPath()).size()), threadId(currentThreadId()) {}

QList<LogLine> LogTail::lines() const
{
    QList<LogLine> own;
    const QList<LogLine> all = parseLog(readFrom(logPath(), start));
    for (const LogLine &line : all) {
        if (line.threadId == threadId)
            own.append(line);
    }
    return own;
}

QStringList textsOf(const QList<LogLine> &lines)
{
    // Handles are the pipe library's; which numbers it gives is its own business.
    static const QRegularExpression handle(QStringLiteral(", id=[1-9]\\d*(?=,|$)"));
    QStringList texts;
    for (const LogLine &line : lines) {
        QString text = line.text();
        const bool isAttempt = line.message.startsWith(QStringLiteral("init_communication_sdk")) ||
                               line.message.startsWith(QStringLiteral("tarn_comm_connect"));
        if (isAttempt || line.message.contains(QStringLiteral("tarn_comm_")))
            text.replace(handle, QStringLiteral(", id=N"));
        // Whether the service was there at the first attempt is the system's own business as well.
        QString early = text;
        early.replace(QStringLiteral("connect returned 0,"), QStringLiteral("connect returned 3,"));
        if (isAttempt && early != text && !texts.isEmpty() && texts.last() == early)
            texts.removeLast();
        if (!isAttempt || !texts.mid(qMax<qsizetype>(texts.size() - 2, 0)).contains(text))
            texts.append(text);
    }
    return texts;
}
