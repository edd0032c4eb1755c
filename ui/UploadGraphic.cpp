#include "ui/UploadGraphic.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPolygonF>

namespace {

void drawBackCard(QPainter &painter)
{
    const QRectF card(26, 38, 108, 72);
    QLinearGradient gradient(card.topLeft(), card.bottomRight());
    gradient.setColorAt(0, QColor(42, 214, 233));
    gradient.setColorAt(1, QColor(25, 125, 255));
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawRoundedRect(card, 10, 10);
}

/** Translucent: the back card shows through it. */
void drawFrontCard(QPainter &painter)
{
    const QRectF card(40, 8, 104, 96);
    QLinearGradient gradient(card.topLeft(), card.bottomLeft());
    gradient.setColorAt(0, QColor(255, 255, 255, 150));
    gradient.setColorAt(1, QColor(255, 255, 255, 40));
    painter.setPen(QPen(QColor(255, 255, 255, 120), 1));
    painter.setBrush(gradient);
    painter.drawRoundedRect(card, 10, 10);
}

void drawPlayGlyph(QPainter &painter)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawPolygon(QPolygonF({{80, 45}, {80, 75}, {106, 60}}), Qt::OddEvenFill);
}

void drawAddBadge(QPainter &painter)
{
    painter.setPen(QPen(QColor(66, 137, 255), 5, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(104, 78, 44, 44));
    painter.drawLine(QPointF(126, 91), QPointF(126, 109));
    painter.drawLine(QPointF(117, 100), QPointF(135, 100));
}

} // namespace

UploadGraphic::UploadGraphic(QWidget *parent) : QWidget(parent)
{
    setFixedSize(150, 130);
}

void UploadGraphic::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawBackCard(painter);
    drawFrontCard(painter);
    drawPlayGlyph(painter);
    drawAddBadge(painter);
}
