#pragma once

#include <QAbstractButton>
#include <QBoxLayout>
#include <QLabel>
#include <QStringList>
#include <QWidget>

/** A widget as a test names it: its class, its object name and its text, as far as there are. */
inline QString widgetText(const QWidget &widget)
{
    QString text = QString::fromLatin1(widget.metaObject()->className());
    if (!widget.objectName().isEmpty())
        text += QLatin1Char('#') + widget.objectName();
    if (const auto *label = qobject_cast<const QLabel *>(&widget); label != nullptr)
        text += QStringLiteral(" '%1'").arg(label->text());
    if (const auto *button = qobject_cast<const QAbstractButton *>(&widget); button != nullptr)
        text += QStringLiteral(" '%1'").arg(button->text());
    return text;
}

/**
 * The items of a layout in their order: widgets by widgetText(), "layout", "space WIDTH" and
 * "stretch FACTOR"; the factor of another item that has one follows it as " x FACTOR".
 */
inline QStringList layoutText(const QBoxLayout &layout)
{
    const bool across = layout.direction() == QBoxLayout::LeftToRight ||
                        layout.direction() == QBoxLayout::RightToLeft;
    QStringList texts;
    for (int index = 0; index < layout.count(); ++index) {
        QLayoutItem *item = layout.itemAt(index);
        const int factor = layout.stretch(index);
        const QSize size = item->sizeHint();
        if (item->layout() == nullptr && item->widget() == nullptr &&
            item->expandingDirections() != Qt::Orientations()) {
            texts.append(QStringLiteral("stretch %1").arg(factor));
            continue;
        }
        QString text = QStringLiteral("layout");
        if (const QWidget *widget = item->widget(); widget != nullptr)
            text = widgetText(*widget);
        else if (item->layout() == nullptr)
            text = QStringLiteral("space %1").arg(across ? size.width() : size.height());
        texts.append(factor == 0 ? text : QStringLiteral("%1 x %2").arg(text).arg(factor));
    }
    return texts;
}
