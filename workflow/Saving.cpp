#include "ui/MainWindow.h"

void MainWindow::saveResults() {}
