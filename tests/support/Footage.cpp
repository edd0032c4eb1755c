#include "tests/support/Footage.h"

#include "tests/support/FaultFolder.h"
#include "tests/support/Recordings.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>
#include <QUuid>

namespace {

constexpr int runTimeoutMs = 50000;

struct Finished
{
    int exitCode;
    QByteArray output;
    QByteArray errors;
};

#ifdef Q_OS_WIN
/** By way of the machine that Wine runs on; see cmake/windows/host_tools. */
Finished finishOnHost(const QString &tools, const QString &program, const QStringList &arguments)
{
    // Not this process's number: those come again, and answers stay.
    const QString base = tools + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::Id128);
    QByteArray request;
    for (const QString &part : QStringList(program) + arguments)
        request += part.toUtf8() + '\0';
    writeFile(base + QStringLiteral(".new"), request);
    QFile::rename(base + QStringLiteral(".new"), base + QStringLiteral(".ask"));
    const QString code = base + QStringLiteral(".code");
    const bool ended = QTest::qWaitFor([&] { return QFile::exists(code); }, runTimeoutMs);
    return {ended ? readFile(code).toInt() : -1, readFile(base + QStringLiteral(".out")),
            readFile(base + QStringLiteral(".err"))};
}
#endif

Finished finish(const QString &program, const QStringList &arguments)
{
#ifdef Q_OS_WIN
    const QString tools = qEnvironmentVariable("VELLUMIX_HOST_TOOLS");
    if (!tools.isEmpty())
        return finishOnHost(tools, program, arguments);
#endif
    QProcess process;
    process.start(program, arguments);
    const bool ended =
        process.waitForFinished(runTimeoutMs) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

} // namespace

QString Footage::probe(const QString &path, const QStringList &options)
{
    const QStringList quiet = {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-of"),
                               QStringLiteral("csv=p=0")};
    return QString::fromUtf8(run(QStringLiteral("ffprobe"), quiet + options + QStringList(path)));
}

QByteArray Footage::run(const QString &program, const QStringList &arguments)
{
    const Finished finished = finish(program, arguments);
    if (finished.exitCode != 0)
        qFatal("%s %s: %s", qPrintable(program), qPrintable(arguments.join(QLatin1Char(' '))),
               finished.errors.constData());
    return finished.output;
}

void Footage::make(const QString &path, const QStringList &options, int seconds)
{
    QStringList arguments = {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")};
    arguments += {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("testsrc2=size=320x240:rate=25:duration=%1").arg(seconds)};
    arguments += {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("sine=frequency=440:sample_rate=48000:duration=%1").arg(seconds)};
    // Bit-exact and on one thread: the same file each time.
    arguments += {QStringLiteral("-fflags"), QStringLiteral("+bitexact"),
                  QStringLiteral("-threads"), QStringLiteral("1")};
    arguments += options;
    // What other files go into is another one each time.
    if (options.join(QLatin1Char(' ')).contains(QLatin1Char('/'))) {
        run(QStringLiteral("ffmpeg"), arguments + QStringList(path));
        return;
    }
    QFile::remove(path);
    const QString kept = Footage::kept(arguments, QFileInfo(path).suffix());
    if (!QFile::copy(kept, path))
        qFatal("cannot copy %s to %s", qPrintable(kept), qPrintable(path));
}

QString Footage::kept(const QStringList &arguments, const QString &suffix)
{
    const QByteArray recipe = QCryptographicHash::hash(arguments.join(QLatin1Char('\0')).toUtf8(),
                                                       QCryptographicHash::Sha1);
    return Recordings::kept(
        QStringLiteral("footage/%1.%2").arg(QString::fromLatin1(recipe.toHex()), suffix),
        [&](const QString &path) { run(QStringLiteral("ffmpeg"), arguments + QStringList(path)); });
}

QByteArray Footage::decodeErrors(const QString &path)
{
    const Finished finished =
        finish(QStringLiteral("ffmpeg"),
               {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-xerror"),
                QStringLiteral("-i"), path, QStringLiteral("-map"), QStringLiteral("0"),
                QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    return finished.exitCode == 0
               ? finished.errors
               : finished.errors + "exit code " + QByteArray::number(finished.exitCode);
}

void Footage::cut(const QString &path, double part)
{
    QFile file(path);
    if (!file.resize(static_cast<qint64>(static_cast<double>(file.size()) * part)))
        qFatal("cannot cut %s", qPrintable(path));
}

void Footage::removeAviIndex(const QString &path)
{
    QByteArray bytes = readFile(path);
    const qsizetype index = bytes.indexOf("idx1");
    const qsizetype movie = bytes.indexOf("movi");
    if (!bytes.startsWith("RIFF") || index < 0 || movie < 8)
        qFatal("%s is no AVI file with an index", qPrintable(path));
    bytes.truncate(index);
    bytes.replace(4, 4, QByteArray(4, '\0'));
    bytes.replace(movie - 4, 4, QByteArray(4, '\0'));
    writeFile(path, bytes);
}
