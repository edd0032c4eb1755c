#include "tests/support/CloseRounds.h"

#include "tests/support/OwnFolder.h"

#include <QDateTime>
#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

namespace {

constexpr int videoCount = 12;
constexpr int roundTimeoutMs = 50000;

QString beside(const QString &name)
{
    return Testing::programFolder() + QLatin1Char('/') + name;
}

} // namespace

CloseRounds::CloseRounds(const QStringList &script, int heldPhotos)
    : fault(script),
      app(beside(programName(QStringLiteral("StuckClient")))),
      videos(fault.path(QStringLiteral("videos"))),
      photos(heldPhotos)
{
    const QString library = QStringLiteral("TarnCommunicationSDK.dll");
    QFile::copy(beside(library), app.folder() + QLatin1Char('/') + library);
    fault.placeAt(app.folder() + QStringLiteral("/RepairService"));
    for (int i = 0; i < videoCount; ++i)
        writeFile(videos + QStringLiteral("/%1.mp4").arg(i));
}

QStringList CloseRounds::unanswering()
{
    return {QStringLiteral("serve"), QStringLiteral("output photoPath held"),
            QStringLiteral("forever")};
}

QStringList CloseRounds::stubborn()
{
    return QStringList{QStringLiteral("ignoreTerminate"), QStringLiteral("spawn")} + unanswering();
}

QStringList CloseRounds::pipeless()
{
    return {QStringLiteral("forever")};
}

CloseRounds::Outcome CloseRounds::run(int exitCode)
{
    const QTemporaryDir publicFolder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PUBLIC"), publicFolder.path());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    QProcess client;
    client.setProcessEnvironment(environment);
    client.start(app.program(), {videos, QString::number(photos), QString::number(exitCode)});
    const bool ended = client.waitForFinished(roundTimeoutMs);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const QByteArray closed = client.readAllStandardOutput().trimmed();

    Outcome outcome;
    outcome.milliseconds = now - closed.toLongLong();
    if (!ended || closed.isEmpty())
        outcome.failure = QStringLiteral("it has not closed and ended");
    else if (client.exitStatus() != QProcess::NormalExit || client.exitCode() != exitCode)
        outcome.failure = QStringLiteral("exit status %1, code %2: %3")
                              .arg(client.exitStatus())
                              .arg(client.exitCode())
                              .arg(QString::fromUtf8(client.readAllStandardError()));
    else if (!processesOf(fault.serviceExe()).isEmpty())
        outcome.failure = QStringLiteral("a service has been left behind");
    client.kill();
    client.waitForFinished();
    return outcome;
}
