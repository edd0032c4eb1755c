#include "app/QtLog.h"
#include "service/ServiceGate.h"
#include "ui/MainWindow.h"
#include "workflow/ServiceProcesses.h"

void MainWindow::shutdownRepairServiceProcesses()
{
    // Services that are being started have to be there before they can be found.
    constexpr std::chrono::milliseconds startLimit{500};
    waitingThumbs.clear();
    serviceGate->close(startLimit);

    const int exitCode = endProcesses(QStringLiteral("RepairService.exe"));
    LOG_INFO(QStringLiteral("shutdown RepairService.exe processes, taskkill exitCode=%1"),
             exitCode);
}
