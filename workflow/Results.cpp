#include "app/QtLog.h"
#include "ui/ItemStatus.h"
#include "ui/MainWindow.h"
#include "ui/RepairFailedDialog.h"
#include "ui/RowColumn.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>

namespace {

void showCount(QPushButton *button, const QString &pattern, qsizetype count)
{
    button->setText(TextPattern::fill(pattern, count));
    button->setEnabled(count > 0);
}

} // namespace

void MainWindow::refreshResultList()
{
    if (resultRows == nullptr)
        return;
    resultRows->refresh();
    const qsizetype total = run.repairTotal >= 1 ? run.repairTotal : run.repairQueue.size();
    resultSummaryLabel->setText(
        TextPattern::fill(QStringLiteral("All Videos       %1/%2"), run.succeededCount(), total));
    const qsizetype outputs = run.outputFiles.size();
    showCount(saveButton, QStringLiteral("Save (%1)"), outputs);
    showCount(saveAllButton, QStringLiteral("Save All (%1)"), outputs);
    previewButton->setEnabled(outputs > 0);
}

ResultRow::Content MainWindow::resultRowContent(int index) const
{
    const QString &damagedFile = run.repairQueue[index];
    const QString status = run.itemStatuses.value(index, ItemStatus::waiting());
    const bool isFinished = index < run.itemSucceeded.size() && status != ItemStatus::waiting() &&
                            status != ItemStatus::repairing();
    ResultRow::Content content;
    content.damagedFile = damagedFile;
    content.status = status;
    content.isOk = run.itemSucceeded.value(index);
    content.thumbPath = resultThumbs.value(damagedFile, sourceThumbs.value(damagedFile));
    if (content.isOk) {
        content.action = ResultRow::Action::Preview;
        content.isActionEnabled = run.outputCount(damagedFile) >= 1;
    } else if (isFinished && !run.advancedRun) {
        content.action = ResultRow::Action::AdvancedRepair;
    }
    return content;
}

QWidget *MainWindow::provideResultRow(int index, QWidget *present)
{
    const ResultRow::Content content = resultRowContent(index);
    auto *row = qobject_cast<ResultRow *>(present);
    if (row != nullptr && row->content() == content) {
        row->refreshThumb();
        return row;
    }
    row = new ResultRow(content);
    connect(
        row, &ResultRow::actionRequested, this,
        [this, content] { runRowAction(content.action, content.damagedFile); },
        Qt::QueuedConnection);
    return row;
}

void MainWindow::runRowAction(ResultRow::Action action, const QString &damagedFile)
{
    // Told of late: the item may be gone, or a second click may come while the first is at work.
    if (!run.repairQueue.contains(damagedFile) || QApplication::activeModalWidget() != nullptr)
        return;
    if (action == ResultRow::Action::Preview) {
        run.previewSourcePath = damagedFile;
        showPreviewDialog();
    } else {
        beginAdvancedRepair();
    }
}

void MainWindow::beginAdvancedRepair()
{
    if (advancedModeCheck != nullptr)
        advancedModeCheck->setChecked(true);
    pages->setCurrentIndex(FileListPage);
    chooseSampleAndCompare();
}

void MainWindow::showRepairFailedDialog(bool advanced)
{
    RepairFailedDialog dialog(advanced, this);
    if (dialog.exec() == QDialog::Accepted && !advanced)
        beginAdvancedRepair();
}

void MainWindow::showResultPage(int succeeded, int failed, bool advanced)
{
    LOG_INFO(QStringLiteral("showResultPage collected outputs=%1"),
             run.outputFiles.join(QLatin1Char('|')));
    // For a moment only: the refresh below puts the lasting text in its place.
    resultSummaryLabel->setText(
        TextPattern::fill(QStringLiteral("%1 Done       %2/%3"),
                          advanced ? QStringLiteral("Advanced") : QStringLiteral("Quick"),
                          succeeded, succeeded + failed));
    refreshResultList();
    if (progressLabel != nullptr && !repairRunning)
        progressLabel->setText(TextPattern::fill(QStringLiteral("Generated %1 output file(s)"),
                                                 run.outputFiles.size()));
    pages->setCurrentIndex(ResultPage);
}
