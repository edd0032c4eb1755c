#pragma once

#include <QWidget>

/** The illustration of the import page: two cards with a play glyph and a badge with a plus. */
class UploadGraphic : public QWidget
{
    Q_OBJECT

public:
    explicit UploadGraphic(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};
