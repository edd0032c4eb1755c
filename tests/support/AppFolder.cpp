#include "tests/support/AppFolder.h"

#include "tests/support/SystemState.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr int runTimeoutMs = 50000;

}

AppFolder::AppFolder(const QString &program)
    : programPath(directory.filePath(QFileInfo(program).fileName()))
{
    QFile::copy(program, programPath);
}

QString AppFolder::clientProbe()
{
    return QCoreApplication::applicationDirPath() + programName(QStringLiteral("/ClientProbe"));
}

int AppFolder::run(const QStringList &arguments, const QString &workingDirectory)
{
    QProcess process;
    process.setWorkingDirectory(workingDirectory.isEmpty() ? folder() : workingDirectory);
    process.start(programPath, arguments);
    const bool ended = process.waitForFinished(runTimeoutMs);
    standardOutput = process.readAllStandardOutput();
    standardError = process.readAllStandardError();
    return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}
