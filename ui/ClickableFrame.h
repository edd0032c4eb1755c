#pragma once

#include <QFrame>

#include <functional>

/**
 * A frame that tells of clicks with the left button. A double click is told as well, after its
 * first press has been told as a click.
 */
class ClickableFrame : public QFrame
{
    Q_OBJECT

public:
    explicit ClickableFrame(QWidget *parent = nullptr);

    std::function<void()> onClicked;
    std::function<void()> onDoubleClicked;

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
};
