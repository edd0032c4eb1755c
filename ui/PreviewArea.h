#pragma once

#include <QFrame>

class QPushButton;
class ThumbWidget;

/** The dark field of the preview that shows a picture as large as it goes, and a play button. */
class PreviewArea : public QFrame
{
    Q_OBJECT

public:
    explicit PreviewArea(QWidget *parent = nullptr);

    /** @param imagePath the picture's file; where there is none a placeholder is shown */
    void showPicture(const QString &imagePath);

    QPushButton *playButton() const { return button; }

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void arrange();

    ThumbWidget *picture = nullptr;
    /** In pixels of the file; null when there is no picture. */
    QSize pictureSize;
    QPushButton *button;
};
