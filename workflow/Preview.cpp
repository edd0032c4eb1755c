#include "ui/MainWindow.h"

void MainWindow::showPreviewDialog() {}
