#pragma once

#include <QFrame>
#include <QPoint>

/**
 * The bar that stands in for the system's title bar: dragging it moves the window, a double click
 * maximises and restores it. Presses on its buttons are the buttons' own; all others begin a drag.
 */
class TitleBar : public QFrame
{
    Q_OBJECT

public:
    /** @param movedWindow what is moved and maximised; not owned, may be null */
    TitleBar(QWidget *movedWindow, QWidget *parent);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    QWidget *window;
    /** From the window frame's top-left corner to the cursor, at the press. */
    QPoint dragOffset;
    bool dragging = false;
};
