#include "ui/MainWindow.h"
#include "workflow/DataFolders.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QUrl>

QString MainWindow::serviceRootPath()
{
    return DataFolders::serviceRoot(QCoreApplication::applicationDirPath());
}

QString MainWindow::publicDataPath()
{
    return DataFolders::publicData(qEnvironmentVariable("PUBLIC"));
}

QString MainWindow::logFolderPath()
{
    return DataFolders::logs(QCoreApplication::applicationDirPath());
}

void MainWindow::openLogFolder()
{
    const QString folder = logFolderPath();
    QDir().mkpath(folder);
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

RepairRequest MainWindow::makeRepairRequest() const
{
    RepairRequest request;
    request.serviceRoot = serviceRootPath();
    request.damagedPath = damagedFilePath;
    request.logDir = logFolderPath();
    request.tempDir = publicDataPath();
    request.configDir = QDir(request.serviceRoot).absoluteFilePath(QStringLiteral("config"));
    request.timeoutSeconds = repairTimeoutSeconds;
    return request;
}
