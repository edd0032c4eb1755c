#include "app/QtLog.h"
#include "metadata/MetadataText.h"
#include "metadata/SupportedFormats.h"
#include "ui/MainWindow.h"
#include "ui/RowColumn.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QStackedWidget>

namespace {

// In front of a summary's values.
QString bulleted(const QString &text)
{
    return QStringLiteral("▪ ") + text;
}

void setTextOf(QLabel *label, const QString &text)
{
    if (label != nullptr)
        label->setText(text);
}

/** Appends those of `paths` that `list` does not hold yet. */
void appendNew(QStringList &list, const QStringList &paths)
{
    QSet<QString> known(list.cbegin(), list.cend());
    for (const QString &path : paths) {
        if (known.contains(path))
            continue;
        known.insert(path);
        list.append(path);
    }
}

} // namespace

void MainWindow::chooseDamagedFile()
{
    // Looked at before: a run that goes on may show its results while the dialog is open.
    const bool isOnList = pages->currentIndex() == FileListPage;
    const QStringList chosen = QFileDialog::getOpenFileNames(
        this, QStringLiteral("Select Videos to Repair"), {}, importFilter());
    if (chosen.isEmpty()) {
        LOG_INFO(QStringLiteral("chooseDamagedFile canceled"));
        return;
    }
    LOG_INFO(QStringLiteral("Damaged files selected, count=%1"), chosen.size());
    addDamagedFiles(chosen, !isOnList || damagedFiles.isEmpty());
}

void MainWindow::addDamagedFiles(const QStringList &paths, bool replace)
{
    const QStringList accepted = acceptedFiles(paths);
    if (accepted.isEmpty())
        return;
    if (replace)
        damagedFiles.clear();
    appendNew(damagedFiles, accepted);
    damagedFilePath = damagedFiles.first();

    dropRun();
    dropUnwantedThumbnails();
    metadataLoading = false;
    metadataReady = false;
    refreshImportSummary();
    pages->setCurrentIndex(FileListPage);
    // A copy: a thumbnail that is there already changes what is shown at once.
    const QStringList files = damagedFiles;
    for (const QString &file : files)
        requestThumbnail(file, file, false);
    loadDamagedMetadata();
}

QStringList MainWindow::acceptedFiles(const QStringList &paths)
{
    QStringList files;
    for (const QString &path : paths) {
        if (path.trimmed().isEmpty())
            continue;
        const QFileInfo info(path);
        if (!info.isFile()) {
            LOG_WARN(QStringLiteral("Skipped invalid damaged file, path=%1"), path);
            continue;
        }
        files.append(QDir::toNativeSeparators(info.absoluteFilePath()));
    }
    QStringList accepted;
    appendNew(accepted, files);
    return accepted;
}

void MainWindow::refreshImportSummary()
{
    metadataLoading = false;
    metadataReady = false;
    damagedMetadataText.clear();

    const QFileInfo current(damagedFilePath);
    // Wanted: the number is that of all files, not of the others.
    setTextOf(titleLabel, damagedFiles.size() < 2
                              ? current.fileName()
                              : TextPattern::fill(QStringLiteral("%1 and %2 videos"),
                                                  current.fileName(), damagedFiles.size()));
    setTextOf(sizeLabel, bulleted(sizeText(current.size())));
    setTextOf(frameRateLabel, {});
    setTextOf(resolutionLabel, {});
    setTextOf(fileLabel, bulleted(QDir::toNativeSeparators(current.absoluteFilePath())));
    setTextOf(listHeaderLabel,
              TextPattern::fill(QStringLiteral("Videos to Repair (%1)"), damagedFiles.size()));
    refreshImportRows();
    updateActionButtons();
}

void MainWindow::refreshImportRows()
{
    if (importRows != nullptr)
        importRows->refresh();
}

ImportRow::Content MainWindow::importRowContent(int index) const
{
    const QString &file = damagedFiles[index];
    const QFileInfo info(file);
    const bool hasSummary = index == 0 && !damagedMetadataText.isEmpty();
    return {.fileName = info.fileName(),
            .detail = hasSummary ? damagedMetadataText
                                 : TextPattern::fill(QStringLiteral("%1    %2    No audio"),
                                                     sizeText(info.size()), formatText(file)),
            .thumbPath = sourceThumbs.value(file)};
}

QWidget *MainWindow::provideImportRow(int index, QWidget *present) const
{
    const ImportRow::Content content = importRowContent(index);
    auto *row = qobject_cast<ImportRow *>(present);
    if (row == nullptr || row->content() != content)
        return new ImportRow(content);
    row->refreshThumb();
    return row;
}
