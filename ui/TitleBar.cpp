#include "ui/TitleBar.h"

#include <QMouseEvent>

TitleBar::TitleBar(QWidget *movedWindow, QWidget *parent) : QFrame(parent), window(movedWindow) {}

void TitleBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && window != nullptr) {
        dragOffset = event->globalPosition().toPoint() - window->frameGeometry().topLeft();
        dragging = true;
    }
    QWidget::mousePressEvent(event);
}

void TitleBar::mouseReleaseEvent(QMouseEvent *event)
{
    dragging = false;
    QWidget::mouseReleaseEvent(event);
}

void TitleBar::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && window != nullptr) {
        if (window->isMaximized())
            window->showNormal();
        else
            window->showMaximized();
    }
    QWidget::mouseDoubleClickEvent(event);
}

void TitleBar::mouseMoveEvent(QMouseEvent *event)
{
    // A maximised window stays where it is.
    if (dragging && window != nullptr && event->buttons().testFlag(Qt::LeftButton) &&
        !window->isMaximized())
        window->move(event->globalPosition().toPoint() - dragOffset);
    QWidget::mouseMoveEvent(event);
}
