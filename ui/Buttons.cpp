#include "ui/Buttons.h"

#include "ui/LineLabel.h"
#include "ui/StyleSheet.h"

#include <QLabel>
#include <QPushButton>

namespace {

QPushButton *makeButton(const QString &text)
{
    auto *button = new QPushButton(text);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

QPushButton *makeFlatButton(const QString &text, const QString &styleSheet)
{
    QPushButton *button = makeButton(text);
    button->setFlat(true);
    button->setStyleSheet(styleSheet);
    return button;
}

} // namespace

QPushButton *makeNavButton(const QString &text, bool active)
{
    return makeFlatButton(
        text, QString::fromUtf16(active ? StyleSheet::crumbActive : StyleSheet::crumbInactive));
}

QPushButton *makeSideNavButton(const QString &text, bool active)
{
    QPushButton *button = makeFlatButton(
        text, QString::fromUtf16(active ? StyleSheet::sideNavActive : StyleSheet::sideNavInactive));
    button->setMinimumHeight(48);
    return button;
}

QPushButton *makeMenuButton()
{
    QPushButton *button =
        makeFlatButton(QStringLiteral("☰"), QString::fromUtf16(StyleSheet::menuButton));
    button->setFixedSize(36, 34);
    button->setAccessibleName(QStringLiteral("Menu"));
    return button;
}

QPushButton *makeWindowButton(const QString &glyph, const QString &accessibleName)
{
    QPushButton *button = makeFlatButton(glyph, QString::fromUtf16(StyleSheet::windowButton));
    button->setFixedSize(42, 34);
    button->setAccessibleName(accessibleName);
    return button;
}

QPushButton *makeObjectButton(const QString &text, const QString &objectName)
{
    QPushButton *button = makeButton(text);
    button->setObjectName(objectName);
    return button;
}

QLabel *makeTextLabel(const QString &text, const QString &objectName)
{
    auto *label = new LineLabel(text);
    label->setObjectName(objectName);
    return label;
}

QLabel *makeMetaLabel(const QString &text)
{
    return makeTextLabel(text, QStringLiteral("Meta"));
}
