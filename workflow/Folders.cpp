#include "ui/MainWindow.h"
#include "workflow/DataFolders.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QStandardPaths>
#include <QUrl>

namespace {

constexpr int repairTimeoutSeconds = 900;

QString temporaryFolder()
{
    const QString standard = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    return standard.isEmpty() ? QDir::tempPath() : standard;
}

} // namespace

QString MainWindow::serviceRootPath()
{
    return DataFolders::serviceRoot(QCoreApplication::applicationDirPath());
}

QString MainWindow::publicDataPath()
{
    return DataFolders::publicData(qEnvironmentVariable("PUBLIC"), temporaryFolder());
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
