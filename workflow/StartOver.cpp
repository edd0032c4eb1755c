#include "ui/MainWindow.h"

#include <QCheckBox>
#include <QLabel>
#include <QStackedWidget>

void MainWindow::resetToImportPage()
{
    damagedFilePath.clear();
    damagedFiles.clear();
    damagedMetadataText.clear();
    metadataLoading = false;
    metadataReady = false;
    sourceThumbs.clear();
    resultThumbs.clear();
    pendingThumbs.clear();
    dropUnwantedThumbnails();
    dropRun();

    updateActionButtons();
    refreshImportRows();
    if (advancedModeCheck != nullptr)
        advancedModeCheck->setChecked(false);
    pages->setCurrentIndex(ImportPage);
}

// Wanted: repairRunning stays. A run that is going on ends when it ends, and no other may begin
// before.
void MainWindow::dropRun()
{
    run = {};
    if (progressLabel != nullptr && !repairRunning)
        progressLabel->clear();
    refreshResultList();
}
