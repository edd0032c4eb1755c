#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/** One line of a log file, taken apart. */
struct LogLine
{
    QString time;
    QString level;
    quint64 threadId = 0;
    QString function;
    int line = 0;
    QString message;

    /** "LEVEL message". */
    QString text() const { return level + QLatin1Char(' ') + message; }
};

/**
 * Takes apart the text of a log file. A line that begins without a time belongs to the one before;
 * one that has no end yet is still being written, and left out.
 */
QList<LogLine> parseLog(const QString &text);

/** "LEVEL message" of each line; handles of pipes become N, repeated attempts are shown once. */
QStringList textsOf(const QList<LogLine> &lines);

/** Reads a log file; empty when there is none. */
QList<LogLine> readLog(const QString &path);

/**
 * What one thread writes to this program's log from the moment on when this object is made.
 * Programs of one folder share a log; the thread's id tells their lines apart.
 */
class LogTail
{
public:
    /** Follows the thread that makes it. */
    LogTail();

    QList<LogLine> lines() const;

    /** textsOf() these lines. */
    QStringList texts() const { return textsOf(lines()); }

private:
    qint64 start;
    quint64 threadId;
};
