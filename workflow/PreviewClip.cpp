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

namespace {

/** Waits while the process runs, for `limit` at most. */
void await(QProcess &process, std::chrono::milliseconds limit)
{
    QEventLoop loop;
    QObject::connect(&process, &QProcess::stateChanged, &loop, [&](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning)
            loop.quit();
    });
    QTimer::singleShot(limit, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    if (process.state() == QProcess::NotRunning)
        return;
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    QGuiApplication::restoreOverrideCursor();
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
        QProcess process;
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.start(tool,
                      {QStringLiteral("-y"), QStringLiteral("-i"), output, QStringLiteral("-t"),
                       QStringLiteral("30"), QStringLiteral("-c"), QStringLiteral("copy"), clip});
        await(process, limit);
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
            // Half a clip would be taken for the clip ever after.
            QFile::remove(clip);
        }
    }
    return QFileInfo::exists(clip) ? clip : output;
}
