#include "app/TextPattern.h"
#include "ui/MainWindow.h"
#include "workflow/CopyDialog.h"
#include "workflow/MessageBox.h"
#include "workflow/SaveNames.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QUrl>

namespace {

QString saveFailed()
{
    return QStringLiteral("Save Failed");
}

/** Tells where the copies are, and has the desktop show the folder. */
void tellSaved(QWidget *parent, const QString &text, const QString &folder)
{
    showInformation(parent, QStringLiteral("Save Complete"), text);
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace

void MainWindow::saveResults()
{
    if (run.outputFiles.isEmpty())
        showWarning(inputWindow(this), QStringLiteral("Unable to Save"),
                    QStringLiteral("The repaired output file does not exist."));
    else if (run.outputFiles.size() == 1)
        saveOne();
    else
        saveAll();
}

void MainWindow::saveOne()
{
    const QString output = run.outputFiles.first();
    const QString target = QFileDialog::getSaveFileName(
        inputWindow(this), QStringLiteral("Save Repaired Video"),
        proposedSavePath(sourceOfOutput(0), output), saveFilter(output));
    if (target.isEmpty())
        return;
    const CopyOutcome outcome =
        copyWithProgress(inputWindow(this), workers, {{.source = output, .target = target}});
    if (outcome.copied > 0)
        tellSaved(
            inputWindow(this),
            TextPattern::fill(QStringLiteral("Saved to:\n%1"), QDir::toNativeSeparators(target)),
            QFileInfo(target).absolutePath());
    else if (!outcome.isCancelled)
        showWarning(inputWindow(this), saveFailed(),
                    QStringLiteral("Unable to write the target file."));
}

void MainWindow::saveAll()
{
    // Settled before the question: meanwhile the results may become others.
    QStringList names;
    for (qsizetype i = 0; i < run.outputFiles.size(); ++i)
        names.append(numberedSaveName(sourceOfOutput(i), i + 1, run.outputFiles[i]));
    const QStringList outputs = run.outputFiles;
    const QString folder = QFileDialog::getExistingDirectory(
        inputWindow(this), QStringLiteral("Select Save Folder"),
        QFileInfo(damagedFilePath).absolutePath(), QFileDialog::ShowDirsOnly);
    if (folder.isEmpty())
        return;
    QList<FileCopy> copies;
    for (qsizetype i = 0; i < outputs.size(); ++i)
        copies.append({.source = outputs[i], .target = QDir(folder).absoluteFilePath(names[i])});
    const CopyOutcome outcome = copyWithProgress(inputWindow(this), workers, copies);
    if (outcome.copied > 0)
        tellSaved(inputWindow(this),
                  TextPattern::fill(QStringLiteral("Saved %1 file(s) to:\n%2"), outcome.copied,
                                    QDir::toNativeSeparators(folder)),
                  folder);
    else if (!outcome.isCancelled)
        showWarning(inputWindow(this), saveFailed(),
                    QStringLiteral("Unable to write to the target folder."));
}

QString MainWindow::sourceOfOutput(qsizetype index) const
{
    return run.outputSources.value(index, damagedFilePath);
}
