#include "tests/support/FaultFolder.h"

#include "tests/support/TestCase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace {

constexpr int leftoverTimeoutMs = 5000;

QString faultServicePath()
{
    return Testing::programFolder() + programName(QStringLiteral("/FaultService"));
}

} // namespace

FaultFolder::FaultFolder(const QStringList &script)
{
    const QString root = serviceRoot();
    QDir().mkpath(root + QStringLiteral("/bin/x64"));
    QFile::copy(faultServicePath(), serviceExe());
    writeFile(root + QStringLiteral("/lib/x64/TarnCommunicationSDK.dll"));
    writeFile(root + QStringLiteral("/lib/x64/TarnLogSDK.dll"));
    writeFile(root + QStringLiteral("/config/KeshRepairConfig.dat"), "{}");
    setScript(script);
}

void FaultFolder::setScript(const QStringList &script) const
{
    writeFile(serviceRoot() + QStringLiteral("/fault.txt"),
              script.join(QLatin1Char('\n')).toUtf8());
}

QString FaultFolder::path(const QString &relative) const
{
    return directory.filePath(relative);
}

QString FaultFolder::serviceRoot() const
{
#ifdef Q_OS_WIN
    if (!place.isEmpty())
        return place;
#endif
    return path(QStringLiteral("service"));
}

bool FaultFolder::placeAt(const QString &newPlace) const
{
#ifdef Q_OS_WIN
    if (!QDir().rename(serviceRoot(), newPlace))
        return false;
#else
    if (!QFile::link(serviceRoot(), newPlace))
        return false;
#endif
    place = newPlace;
    return true;
}

bool FaultFolder::takeBack() const
{
    const QString from = std::exchange(place, {});
    if (from.isEmpty())
        return false;
#ifdef Q_OS_WIN
    // The system holds a program's folder for a moment after its process has ended.
    return QTest::qWaitFor([&] { return QDir().rename(from, serviceRoot()); });
#else
    return QFile::remove(from);
#endif
}

QString FaultFolder::serviceExe() const
{
    return serviceRoot() + QStringLiteral("/bin/x64/RepairService.exe");
}

RepairRequest FaultFolder::request() const
{
    RepairRequest request;
    request.serviceRoot = serviceRoot();
    request.logDir = path(QStringLiteral("logs"));
    request.tempDir = path(QStringLiteral("temp"));
    request.configDir = serviceRoot() + QStringLiteral("/config");
    request.timeoutSeconds = 30;
    return request;
}

QStringList FaultFolder::startRecord(const QString &token) const
{
    const QByteArray text = readFile(serviceRoot() + QStringLiteral("/started-%1.txt").arg(token));
    QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    lines.removeLast();
    return lines;
}

bool FaultFolder::wasAskedToEnd(const QString &token) const
{
    return QFile::exists(serviceRoot() + QStringLiteral("/asked-%1.txt").arg(token));
}

QList<qint64> FaultFolder::spawned() const
{
    QList<qint64> ids;
    const QStringList names =
        QDir(serviceRoot()).entryList({QStringLiteral("children-*.txt")}, QDir::Files);
    for (const QString &name : names) {
        const QList<QByteArray> lines =
            readFile(serviceRoot() + QLatin1Char('/') + name).trimmed().split('\n');
        for (const QByteArray &line : lines)
            ids.append(line.toLongLong());
    }
    return ids;
}

int FaultFolder::startCount() const
{
    return static_cast<int>(tokens().size());
}

QStringList FaultFolder::tokens() const
{
    QStringList names =
        QDir(serviceRoot()).entryList({QStringLiteral("started-*.txt")}, QDir::Files);
    for (QString &name : names)
        name = name.section(QLatin1Char('-'), 1).chopped(4);
    return names;
}

QStringList FaultFolder::leftovers() const
{
    QStringList found = findLeftovers();
    for (int waited = 0; !found.isEmpty() && waited < leftoverTimeoutMs; waited += 10) {
        QTest::qWait(10);
        found = findLeftovers();
    }
    return found;
}

QStringList FaultFolder::findLeftovers() const
{
    QStringList found;
    const QList<qint64> processes = processesOf(serviceExe());
    for (const qint64 pid : processes)
        found.append(QStringLiteral("process %1").arg(pid));
    const QStringList pipes = pipeNames(tokens());
    for (const QString &name : pipes)
        found.append(QStringLiteral("pipe %1").arg(name));
    const QStringList temporary = entriesOf(path(QStringLiteral("temp")));
    for (const QString &name : temporary)
        found.append(QStringLiteral("temporary file %1").arg(name));
    const QStringList known = {QStringLiteral("KeshRepairConfig.dat"),
                               QStringLiteral("Logs"),
                               QStringLiteral("bin"),
                               QStringLiteral("config"),
                               QStringLiteral("fault.txt"),
                               QStringLiteral("go"),
                               QStringLiteral("lib")};
    const QStringList inRoot = entriesOf(serviceRoot());
    for (const QString &name : inRoot) {
        if (!known.contains(name) && !name.startsWith(QStringLiteral("started-")) &&
            !name.startsWith(QStringLiteral("asked-")) &&
            !name.startsWith(QStringLiteral("children-")))
            found.append(QStringLiteral("service file %1").arg(name));
    }
    return found;
}

void FaultFolder::release() const
{
    writeFile(serviceRoot() + QStringLiteral("/go"));
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden |
                                  QDir::NoDotAndDotDot);
}
