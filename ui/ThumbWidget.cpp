#include "ui/ThumbWidget.h"

#include <QImageReader>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPolygonF>

namespace {

constexpr qreal cornerRadius = 6;

/** Reads the file itself: QPixmap's own loading keeps pictures in a cache. */
QPixmap loadPicture(const QString &path)
{
    return path.isEmpty() ? QPixmap() : QPixmap::fromImage(QImageReader(path).read());
}

/** @param frame the rim's rectangle inside `whole`, both in the widget's coordinates */
void drawPicture(QPainter &painter, const QPixmap &picture, const QRect &whole, const QRectF &frame)
{
    QPainterPath shape;
    shape.addRoundedRect(frame, cornerRadius, cornerRadius);
    painter.setClipPath(shape);
    // In device pixels, so that it is as sharp as the screen can show.
    const QSize deviceSize = whole.size() * painter.device()->devicePixelRatioF();
    // Wanted: the picture is stretched to the frame rather than cut or framed in bars.
    painter.drawPixmap(whole, picture.scaled(deviceSize, Qt::KeepAspectRatioByExpanding,
                                             Qt::SmoothTransformation));
    painter.setClipping(false);

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 70), 1));
    painter.drawRoundedRect(frame, cornerRadius, cornerRadius);
}

/** A sky with a play glyph. */
void drawPlaceholder(QPainter &painter, const QRectF &frame)
{
    QLinearGradient sky(frame.topLeft(), frame.bottomRight());
    sky.setColorAt(0, QColor(130, 224, 255));
    sky.setColorAt(1, QColor(29, 132, 190));
    painter.setPen(Qt::NoPen);
    painter.setBrush(sky);
    painter.drawRoundedRect(frame, cornerRadius, cornerRadius);
    painter.setBrush(QColor(246, 210, 67));
    painter.drawEllipse(QRectF(35, 38, 48, 40));
    painter.setBrush(QColor(190, 24, 34));
    painter.drawEllipse(QRectF(65, 25, 25, 22));
    painter.setBrush(QColor(0, 0, 0, 110));
    painter.drawEllipse(QRectF(47, 32, 42, 42));
    painter.setBrush(Qt::white);
    painter.drawPolygon(QPolygonF({{61, 43}, {61, 63}, {78, 53}}), Qt::OddEvenFill);
}

} // namespace

ThumbWidget::ThumbWidget(const QString &imageFile, QWidget *parent)
    : QFrame(parent), imagePath(imageFile)
{
    setObjectName(QStringLiteral("Thumb"));
    setFixedSize(124, 100);
}

void ThumbWidget::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const QRectF frame = rect().adjusted(0, 0, -1, -1);
    if (const QPixmap picture = loadPicture(imagePath); !picture.isNull())
        drawPicture(painter, picture, rect(), frame);
    else
        drawPlaceholder(painter, frame);
}
