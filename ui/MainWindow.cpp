#include "ui/MainWindow.h"

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("Vellumix File Repair"));
    setMinimumSize(1120, 720);
}
