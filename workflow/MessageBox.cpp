#include "workflow/MessageBox.h"

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

void showWarning(QWidget *parent, const QString &title, const QString &text)
{
    show(QMessageBox::Warning, parent, title, text);
}

void showInformation(QWidget *parent, const QString &title, const QString &text)
{
    show(QMessageBox::Information, parent, title, text);
}
