#include "ui/LineLabel.h"

#include "ui/StyleSheet.h"

#include <QEvent>
#include <QStylePainter>

LineLabel::LineLabel(const QString &text, QWidget *parent) : QLabel(text, parent)
{
    setTextFormat(Qt::PlainText);
}

QString LineLabel::singleLine(QString text)
{
    for (const QChar mark : {QChar(u'\n'), QChar(u'\r'), QChar(QChar::LineSeparator),
                             QChar(QChar::ParagraphSeparator)})
        text.replace(mark, u' ');
    return text;
}

QString LineLabel::toolTipFor(const QString &text)
{
    return QStringLiteral("<p style=\"white-space:pre-wrap\">%1</p>").arg(text.toHtmlEscaped());
}

QSize LineLabel::sizeHint() const
{
    return sizeFor(singleLine(text()));
}

QSize LineLabel::minimumSizeHint() const
{
    return sizeFor({});
}

bool LineLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip)
        provideToolTip();
    return QLabel::event(event);
}

void LineLabel::paintEvent(QPaintEvent * /*event*/)
{
    QStylePainter painter(this);
    drawFrame(&painter);
    painter.drawItemText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                         palette(), isEnabled(), visibleLine(), foregroundRole());
}

void LineLabel::provideToolTip()
{
    const QString whole = singleLine(text());
    setToolTip(visibleLine() == whole ? QString() : toolTipFor(whole));
    if (!toolTip().isEmpty() && styleSheet().isEmpty())
        setStyleSheet(QString::fromUtf16(StyleSheet::toolTip));
}

QString LineLabel::visibleLine() const
{
    return fontMetrics().elidedText(singleLine(text()), Qt::ElideMiddle, contentsRect().width());
}

QSize LineLabel::sizeFor(const QString &shown) const
{
    ensurePolished();
    const QSize around = size() - contentsRect().size();
    // One more: the advance is rounded, and a part of a pixel would cost the name its middle.
    return {fontMetrics().horizontalAdvance(shown) + 1 + around.width(),
            fontMetrics().height() + around.height()};
}
