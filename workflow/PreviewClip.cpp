#include "workflow/PreviewClip.h"

#include "app/TextPattern.h"

#include <QCursor>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QTimer>

#include <memory>
#include <utility>

namespace {

// Long enough for a process that is killed to be gone.
constexpr int killMs = 1000;

/** Returns whether the process has ended in time. */
bool await(QProcess &process, std::chrono::milliseconds limit)
{
    if (process.state() == QProcess::NotRunning)
        return true;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::stateChanged, &loop, [&](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            loop.quit();
    });
    QTimer::singleShot(limit, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    loop.exec();
    QGuiApplication::restoreOverrideCursor();
    return process.state() == QProcess::NotRunning;
}

/**
 * Ends the process, and removes what it has left: half a clip would be taken for the clip ever
 * after. One that does not end at once, stuck on a drive that has gone, is not waited for.
 */
void giveUp(std::unique_ptr<QProcess> process, const QString &clip)
{
    process->kill();
    if (!process->waitForFinished(killMs)) {
        QProcess *late = process.release();
        QObject::connect(late, &QProcess::finished, late, [late, clip] {
            QFile::remove(clip);
            late->deleteLater();
        });
    }
    QFile::remove(clip);
}

} // namespace

QString previewClipPath(const QString &dataFolder, const QString &output)
{
    const QFileInfo file(output);
    return QDir(dataFolder)
        .absoluteFilePath(TextPattern::fill(QStringLiteral("%1_preview_30s.%2"),
                                            file.completeBaseName(), file.suffix()));
}

QString makePreviewClip(const QString &tool, const QString &output, const QString &clip,
                        std::chrono::milliseconds limit)
{
    QDir().mkpath(QFileInfo(clip).absolutePath());
    if (QFileInfo(tool).isFile() && !QFileInfo::exists(clip)) {
        auto process = std::make_unique<QProcess>();
        process->setStandardInputFile(QProcess::nullDevice());
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        process->start(tool,
                       {QStringLiteral("-y"), QStringLiteral("-i"), output, QStringLiteral("-t"),
                        QStringLiteral("30"), QStringLiteral("-c"), QStringLiteral("copy"), clip});
        if (!await(*process, limit)) {
            giveUp(std::move(process), clip);
            return output;
        }
    }
    return QFileInfo::exists(clip) ? clip : output;
}
