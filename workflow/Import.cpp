#include "ui/MainWindow.h"

void MainWindow::chooseDamagedFile() {}

void MainWindow::addDamagedFiles(const QStringList & /*paths*/, bool /*replace*/) {}

void MainWindow::refreshImportRows() {}
