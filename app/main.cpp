#include "app/QtLog.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QIcon>

int main(int argc, char *argv[])
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

    MainWindow window;
    window.resize(860, 560);
    window.show();
    return QApplication::exec();
}
