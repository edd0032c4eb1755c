#pragma once

#include <QMainWindow>

/** The application's only top-level window. Lives on the interface thread. */
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
};
