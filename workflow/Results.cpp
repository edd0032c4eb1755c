#include "ui/MainWindow.h"

void MainWindow::refreshResultList() {}
