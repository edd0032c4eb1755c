#pragma once

#include "ui/MainWindow.h"

#include <QCoreApplication>
#include <QLayout>
#include <QScrollArea>
#include <QStackedWidget>

/** The tests' door to what the window keeps to itself. */
class WindowProbe
{
public:
    explicit WindowProbe(MainWindow &mainWindow) : window(mainWindow) {}

    int page() const { return window.pages->currentIndex(); }
    QWidget *pageWidget(int index) const { return window.pages->widget(index); }
    void showPage(int index) { window.pages->setCurrentIndex(index); }

    QStringList &damagedFiles() { return window.damagedFiles; }
    QString &damagedFilePath() { return window.damagedFilePath; }
    QString &damagedMetadataText() { return window.damagedMetadataText; }
    bool &metadataLoading() { return window.metadataLoading; }
    bool &metadataReady() { return window.metadataReady; }
    bool &repairRunning() { return window.repairRunning; }
    auto &run() { return window.run; }

    QLabel *&frameRateLabel() { return window.frameRateLabel; }
    QLabel *&resolutionLabel() { return window.resolutionLabel; }
    QLabel *&fileLabel() { return window.fileLabel; }
    QLabel *&titleLabel() { return window.titleLabel; }
    QLabel *&sizeLabel() { return window.sizeLabel; }
    QLabel *listHeaderLabel() { return window.listHeaderLabel; }
    QLabel *progressLabel() { return window.progressLabel; }
    QLabel *summaryLabel() { return window.resultSummaryLabel; }
    QPushButton *repairButton() { return window.repairButton; }
    QPushButton *previewButton() { return window.previewButton; }
    QPushButton *saveButton() { return window.saveButton; }
    QPushButton *saveAllButton() { return window.saveAllButton; }
    QCheckBox *advancedModeCheck() { return window.advancedModeCheck; }

    void chooseDamagedFile() { window.chooseDamagedFile(); }
    void addDamagedFiles(const QStringList &paths, bool replace)
    {
        window.addDamagedFiles(paths, replace);
    }
    void refreshImportRows() { window.refreshImportRows(); }
    /** The rows that exist as widgets, from top to bottom, once they are up to date. */
    QList<ImportRow *> importRows() const { return rowsOf<ImportRow>(MainWindow::FileListPage); }

    void loadDamagedMetadata() { window.loadDamagedMetadata(); }
    void updateActionButtons() { window.updateActionButtons(); }

    void startRepair(bool advanced) { window.startRepair(advanced); }
    void setRepairRunning(bool running) { window.setRepairRunning(running); }
    void refreshResultList() { window.refreshResultList(); }
    QList<ResultRow *> resultRows() const { return rowsOf<ResultRow>(MainWindow::ResultPage); }
    void showResultPage(int succeeded, int failed, bool advanced)
    {
        window.showResultPage(succeeded, failed, advanced);
    }
    void saveResults() { window.saveResults(); }
    void chooseSampleAndCompare() { window.chooseSampleAndCompare(); }
    bool isComparing() const { return window.isComparing; }
    bool isRunUnderWay() const { return window.isRunUnderWay; }
    void showPreviewDialog() { window.showPreviewDialog(); }
    void showRepairFailedDialog(bool advanced) { window.showRepairFailedDialog(advanced); }
    ResultRow::Content resultRowContent(int index) const { return window.resultRowContent(index); }

    void showMetadataLabels(const QJsonObject &info, const QString &filePath)
    {
        window.showMetadataLabels(info, filePath);
    }

    static QString serviceRootPath() { return MainWindow::serviceRootPath(); }
    static QString publicDataPath() { return MainWindow::publicDataPath(); }
    static QString logFolderPath() { return MainWindow::logFolderPath(); }
    qint32 &repairTimeoutSeconds() { return window.repairTimeoutSeconds; }
    RepairRequest makeRepairRequest() const { return window.makeRepairRequest(); }

    static QString thumbnailPath(const QString &key, bool isResult)
    {
        return MainWindow::thumbnailPath(key, isResult);
    }
    void requestThumbnail(const QString &key, const QString &videoPath, bool isResult)
    {
        window.requestThumbnail(key, videoPath, isResult);
    }
    QHash<QString, QString> &sourceThumbs() { return window.sourceThumbs; }
    QHash<QString, QString> &resultThumbs() { return window.resultThumbs; }
    QSet<QString> &pendingThumbs() { return window.pendingThumbs; }
    qsizetype waitingThumbCount() const { return window.waitingThumbs.size(); }
    QStringList waitingThumbKeys() const
    {
        QStringList keys;
        for (const auto &job : window.waitingThumbs)
            keys.append(job.key);
        return keys;
    }
    qsizetype runningThumbs() const { return window.runningThumbs.size(); }

    void shutdownRepairServiceProcesses() { window.shutdownRepairServiceProcesses(); }
    void resetToImportPage() { window.resetToImportPage(); }

private:
    template <typename Row>
    QList<Row *> rowsOf(int page) const
    {
        QCoreApplication::sendPostedEvents();
        QList<Row *> rows;
        const QLayout *layout =
            window.pages->widget(page)->findChild<QScrollArea *>()->widget()->layout();
        for (int i = 0; i < layout->count(); ++i) {
            if (auto *row = qobject_cast<Row *>(layout->itemAt(i)->widget()))
                rows.append(row);
        }
        return rows;
    }

    MainWindow &window;
};
