#include "workflow/MessageBox.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {

void show(QMessageBox::Icon icon, QWidget *parent, const QString &title, const QString &text)
{
    QMessageBox box(icon, title, text, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    box.button(QMessageBox::Ok)->setCursor(Qt::PointingHandCursor);
    box.exec();
}

} // namespace

QWidget *inputWindow(QWidget *window)
{
    QWidget *modal = QApplication::activeModalWidget();
    return modal != nullptr ? modal : window;
}

void showWarning(QWidget *parent, const QString &title, const QString &text)
{
    show(QMessageBox::Warning, parent, title, text);
}

void showInformation(QWidget *parent, const QString &title, const QString &text)
{
    show(QMessageBox::Information, parent, title, text);
}
