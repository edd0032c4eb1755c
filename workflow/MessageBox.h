#pragma once

#include <QString>

class QWidget;

/**
 * Modal boxes with an OK button, in the window's look. Each returns when the box has been closed.
 * Texts are shown as they are, whatever marks they hold.
 */
void showWarning(QWidget *parent, const QString &title, const QString &text);
void showInformation(QWidget *parent, const QString &title, const QString &text);
