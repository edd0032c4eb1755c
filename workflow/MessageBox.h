#pragma once

#include <QString>

class QWidget;

/**
 * What a box or a dialog is to come up over: the dialog that takes input now or, where there is
 * none, the window.
 */
QWidget *inputWindow(QWidget *window);

/**
 * Modal boxes with an OK button, in the window's look. Each returns when the box has been closed.
 * Texts are shown as they are, whatever marks they hold.
 */
void showWarning(QWidget *parent, const QString &title, const QString &text);
void showInformation(QWidget *parent, const QString &title, const QString &text);
