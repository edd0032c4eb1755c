#pragma once

#include <QFrame>

#include <functional>

/**
 * A frame that tells of clicks with the left button. A double click is told as two clicks, with the
 * double click told before the second. A callback must not delete the frame at once.
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
