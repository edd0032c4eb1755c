#include "ui/PreviewArea.h"

#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"

#include <QImageReader>
#include <QPushButton>
#include <QStyle>

namespace {

constexpr int buttonSize = 82;
constexpr int margin = 12;

} // namespace

PreviewArea::PreviewArea(QWidget *parent)
    : QFrame(parent), button(new QPushButton(QStringLiteral("▶"), this))
{
    setStyleSheet(QString::fromUtf16(StyleSheet::previewArea));
    button->setStyleSheet(QString::fromUtf16(StyleSheet::playButton));
    button->setFixedSize(buttonSize, buttonSize);
    button->setCursor(Qt::PointingHandCursor);
    button->setAccessibleName(QStringLiteral("Play"));
}

void PreviewArea::showPicture(const QString &imagePath)
{
    delete picture;
    picture = new ThumbWidget(imagePath, this);
    pictureSize = imagePath.isEmpty() ? QSize() : QImageReader(imagePath).size();
    picture->lower();
    arrange();
    picture->show();
}

void PreviewArea::resizeEvent(QResizeEvent *event)
{
    QFrame::resizeEvent(event);
    arrange();
}

void PreviewArea::arrange()
{
    const QRect room = rect().marginsRemoved({margin, margin, margin, margin});
    if (picture != nullptr) {
        // The placeholder is drawn for the widget's own size; a picture keeps its proportions.
        const QSize size = pictureSize.isValid()
                               ? pictureSize.scaled(room.size(), Qt::KeepAspectRatio)
                               : picture->size();
        picture->setFixedSize(size);
        picture->move(
            QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, size, room).topLeft());
    }
    button->move(
        QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, button->size(), room).topLeft());
}
