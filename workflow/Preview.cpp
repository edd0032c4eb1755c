#include "app/TextPattern.h"
#include "ui/MainWindow.h"
#include "ui/PreviewDialog.h"
#include "workflow/MessageBox.h"
#include "workflow/PreviewClip.h"

#include <QDesktopServices>
#include <QDir>
#include <QUrl>

namespace {

/** The program of the service's installation that cuts clips. */
QString clipTool(const QString &serviceRoot)
{
    return QDir(serviceRoot)
        .absoluteFilePath(
            TextPattern::fill(QStringLiteral("lib/%1/ffmpeg.exe"), QStringLiteral("x64")));
}

} // namespace

void MainWindow::showPreviewDialog()
{
    QList<PreviewDialog::Item> items;
    for (qsizetype i = 0; i < run.outputFiles.size(); ++i) {
        const QString source = sourceOfOutput(i);
        if (run.previewSourcePath.isEmpty() || run.previewSourcePath == source)
            items.append({.output = run.outputFiles[i],
                          .source = source,
                          .thumbPath = resultThumbs.value(source, sourceThumbs.value(source))});
    }
    if (items.isEmpty()) {
        showWarning(this, QStringLiteral("Preview Unavailable"),
                    QStringLiteral("The repaired output file does not exist."));
        return;
    }
    PreviewDialog dialog(
        items, [this](const QString &output) { playPreview(output); }, this);
    connect(&dialog, &PreviewDialog::saveRequested, this, &MainWindow::saveResults);
    if (dialog.exec() == QDialog::Accepted)
        beginAdvancedRepair();
}

void MainWindow::playPreview(const QString &output)
{
    const QString target = makePreviewClip(clipTool(serviceRootPath()), output,
                                           previewClipPath(publicDataPath(), output));
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(target)))
        showWarning(inputWindow(this), QStringLiteral("Unable to Open Preview"),
                    QStringLiteral("No available player was found, or the file cannot be opened."));
}
