#pragma once

#include <QLabel>
#include <QPixmap>
#include <QString>

/**
 * The absolute path of the logo's file: "Vellumix-logo.png" beside the executable, else three, else
 * four levels above it; empty when there is none.
 */
QString findLogoPath(const QString &applicationFolder);

/**
 * The logo in the title bar: a picture fitted into a fixed area and as sharp as the screen that the
 * window is on can show it. Empty, and as large, without a picture.
 */
class LogoLabel : public QLabel
{
    Q_OBJECT

public:
    /** @param path a picture's file, or empty */
    explicit LogoLabel(const QString &path, QWidget *parent = nullptr);

protected:
    bool event(QEvent *event) override;

private:
    void fitPicture();

    QPixmap picture;
};
