#include "ui/LineLabel.h"

#include <QEvent>
#include <QStyleOption>
#include <QStylePainter>

LineLabel::LineLabel(const QString &text, QWidget *parent) : QLabel(text, parent)
{
    setTextFormat(Qt::PlainText);
}

QSize LineLabel::sizeHint() const
{
    return sizeFor(line());
}

QSize LineLabel::minimumSizeHint() const
{
    return sizeFor({});
}

bool LineLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip)
        setToolTip(visibleLine() == line() ? QString() : line().toHtmlEscaped());
    return QLabel::event(event);
}

void LineLabel::paintEvent(QPaintEvent * /*event*/)
{
    QStylePainter painter(this);
    drawFrame(&painter);
    painter.drawItemText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                         palette(), isEnabled(), visibleLine(), foregroundRole());
}

QString LineLabel::line() const
{
    QString shown = text();
    for (const QChar mark : {QChar(u'\n'), QChar(u'\r'), QChar(QChar::LineSeparator),
                             QChar(QChar::ParagraphSeparator)})
        shown.replace(mark, u' ');
    return shown;
}

QString LineLabel::visibleLine() const
{
    return fontMetrics().elidedText(line(), Qt::ElideMiddle, contentsRect().width());
}

QSize LineLabel::sizeFor(const QString &shown) const
{
    const QMargins margins = contentsMargins();
    // One more: the advance is rounded, and a part of a pixel would cost the name its middle.
    return QSize(fontMetrics().horizontalAdvance(shown) + 1 + margins.left() + margins.right(),
                 fontMetrics().height() + margins.top() + margins.bottom());
}
