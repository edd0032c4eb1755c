#pragma once

#include "tests/support/LogTail.h"

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/** A program copied into an application folder of its own, and what it does there. */
class AppFolder
{
public:
    /** @param program path of the program to copy */
    explicit AppFolder(const QString &program);

    /** With the client probe in it. */
    static QString clientProbe();

    QString folder() const { return directory.path(); }
    QString program() const { return programPath; }
    QString logPath() const { return directory.filePath(QStringLiteral("Logs/Korvane.log")); }
    QList<LogLine> log() const { return readLog(logPath()); }

    /** Runs the program to its end. Returns its exit code, -1 when it crashed or stayed. */
    int run(const QStringList &arguments, const QString &workingDirectory = {});

    /** What the last run wrote to its standard output and error. */
    QByteArray standardOutput;
    QByteArray standardError;

private:
    QTemporaryDir directory;
    QString programPath;
};
