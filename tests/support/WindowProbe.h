#pragma once

#include "ui/MainWindow.h"

#include <QStackedWidget>

/** The tests' door to what the window keeps to itself. */
class WindowProbe
{
public:
    explicit WindowProbe(MainWindow &mainWindow) : window(mainWindow) {}

    int page() const { return window.pages->currentIndex(); }
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
    void showMetadataLabels(const QJsonObject &info, const QString &filePath)
    {
        window.showMetadataLabels(info, filePath);
    }

    static QString serviceRootPath() { return MainWindow::serviceRootPath(); }
    static QString publicDataPath() { return MainWindow::publicDataPath(); }
    static QString logFolderPath() { return MainWindow::logFolderPath(); }
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
    int runningThumbs() const { return window.runningThumbs; }

    void shutdownRepairServiceProcesses() { window.shutdownRepairServiceProcesses(); }
    void resetToImportPage() { window.resetToImportPage(); }

private:
    MainWindow &window;
};
