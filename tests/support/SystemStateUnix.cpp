#include "tests/support/FaultFolder.h"
#include "tests/support/SystemState.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

bool isRunning(qint64 pid)
{
    const QByteArray state = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    return !state.isEmpty() && !state.contains(") Z ");
}

QList<qint64> processesOf(const QString &executable, const QString &argument)
{
    QList<qint64> found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        const QString process = QStringLiteral("/proc/") + entry;
        if (isPid && QFile::symLinkTarget(process + QStringLiteral("/exe")) == executable &&
            readFile(process + QStringLiteral("/cmdline")).contains(argument.toUtf8()))
            found.append(pid);
    }
    return found;
}

QStringList pipeNames(const QStringList & /*tokens*/)
{
    return entriesOf(Testing::pipeFolder());
}

bool pipeExists(const QString &name)
{
    return entriesOf(Testing::pipeFolder()).contains(name);
}

quint64 currentThreadId()
{
    return static_cast<quint64>(gettid());
}

bool placeFolder(const QString &folder, const QString &place)
{
    return QFile::link(folder, place);
}

void removePlaced(const QString &place)
{
    QFile::remove(place);
}

QString programName(const QString &name)
{
    return name;
}

QString possibleName(const QString &name)
{
    return name;
}
