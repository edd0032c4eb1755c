#include "ui/MainWindow.h"

#include <QCheckBox>
#include <QStackedWidget>

void MainWindow::resetToImportPage()
{
    damagedFilePath.clear();
    damagedFiles.clear();
    damagedMetadataText.clear();
    metadataLoading = false;
    metadataReady = false;
    // Wanted: repairRunning stays. A run that is going on ends when it ends, and no other may
    // begin before.
    run = {};
    sourceThumbs.clear();
    resultThumbs.clear();
    pendingThumbs.clear();
    // Nobody looks at them any more; those being made come to their end.
    waitingThumbs.clear();

    updateActionButtons();
    refreshImportRows();
    refreshResultList();
    if (advancedModeCheck != nullptr)
        advancedModeCheck->setChecked(false);
    pages->setCurrentIndex(ImportPage);
}
