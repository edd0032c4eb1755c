#include "ui/MainWindow.h"

void MainWindow::chooseSampleAndCompare() {}
