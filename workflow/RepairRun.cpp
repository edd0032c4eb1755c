#include "ui/MainWindow.h"

void MainWindow::startRepair(bool /*advanced*/) {}
