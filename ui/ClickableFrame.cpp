#include "ui/ClickableFrame.h"

#include <QMouseEvent>

ClickableFrame::ClickableFrame(QWidget *parent) : QFrame(parent)
{
    setCursor(Qt::PointingHandCursor);
}

void ClickableFrame::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && onClicked)
        onClicked();
    QWidget::mousePressEvent(event);
}

void ClickableFrame::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && onDoubleClicked)
        onDoubleClicked();
    QWidget::mouseDoubleClickEvent(event);
}
