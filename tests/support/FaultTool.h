#pragma once

#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <QFile>

/** A tool for clips, "ffmpeg.exe" in a folder, that obeys a script and notes its calls. */
class FaultTool
{
public:
    /** @param script lines for tests/fault/FaultTool.cpp */
    explicit FaultTool(const QString &folder,
                       const QStringList &script = {QStringLiteral("write clip")})
        : path(folder + QStringLiteral("/ffmpeg.exe")), record(folder + QStringLiteral("/record"))
    {
        writeFile(folder + QStringLiteral("/script"), script.join(QLatin1Char('\n')).toUtf8());
        const QString program =
            Testing::programFolder() + programName(QStringLiteral("/FaultTool"));
        if (!QFile::copy(program, path))
            qFatal("cannot copy %s", qPrintable(program));
    }

    /** The arguments of each call, each followed by "|". */
    QStringList calls() const
    {
        return QString::fromUtf8(readFile(record)).split(u'\n', Qt::SkipEmptyParts);
    }

    static QString expectedCall(const QString &output, const QString &clip)
    {
        return QStringLiteral("-y|-i|") + output + QStringLiteral("|-t|30|-c|copy|") + clip +
               QLatin1Char('|');
    }

    const QString path;

private:
    const QString record;
};
