#include "app/ClientMain.h"

#include "app/QtLog.h"
#include "app/Workers.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QIcon>

#include <cstdlib>

int clientMain(int argc, char *argv[], const std::function<void(MainWindow &)> &whenShown)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vellumix"));
    QApplication::setOrganizationName(QStringLiteral("Vellumix"));
    const QString appDir = QApplication::applicationDirPath();
    QApplication::setWindowIcon(
        QIcon(QDir(appDir).absoluteFilePath(QStringLiteral("app_icon.ico"))));

    QtLog::init();
    qInstallMessageHandler(QtLog::messageHandler);
    // Signature and line are fixed, like those of the log's first line.
    QtLog::write("INFO", "int qMain(int, char**)", 16,
                 TextPattern::fill(QStringLiteral("Application started, appDir=%1"), appDir));

    int exitCode = 0;
    {
        MainWindow window;
        window.resize(860, 560);
        window.show();
        if (whenShown)
            whenShown(window);
        exitCode = QApplication::exec();
    }
    // A worker may be stuck in a call that nothing interrupts. Running on while the application is
    // taken down, it would use what is there no more; so then the process ends at once.
    constexpr std::chrono::milliseconds workerLimit{1000};
    if (!Workers::awaitAll(workerLimit))
        std::_Exit(exitCode);
    return exitCode;
}
