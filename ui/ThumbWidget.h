#pragma once

#include <QFrame>
#include <QString>

/**
 * A video's thumbnail: the picture of a file, filling the whole frame whatever its proportions, or
 * a drawn placeholder where there is no such picture. The file is read at every paint, so that a
 * picture that is written later shows at the next one.
 */
class ThumbWidget : public QFrame
{
    Q_OBJECT

public:
    /** @param imageFile the picture's file; may be empty or not exist yet */
    explicit ThumbWidget(const QString &imageFile, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const QString imagePath;
};
