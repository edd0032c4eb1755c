#include "ui/PreviewCard.h"

#include "ui/LineLabel.h"
#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QStyle>
#include <QStyleOptionButton>

namespace {

QString withoutMnemonic(QString text)
{
    return text.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

/**
 * A check box with two names, each on a line and shortened to it, and whose switch alone is for
 * clicks: a click on the names is the card's.
 */
class NameBox : public QCheckBox
{
public:
    NameBox(const QString &first, const QString &second)
        : QCheckBox(withoutMnemonic(first + QLatin1Char('\n') + second)),
          lines{LineLabel::singleLine(first), LineLabel::singleLine(second)}
    {
        setToolTip(LineLabel::toolTipFor(lines.join(QLatin1Char('\n'))));
        setStyleSheet(QString::fromUtf16(StyleSheet::previewCheckBox) +
                      QString::fromUtf16(StyleSheet::toolTip));
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        setFocusPolicy(Qt::TabFocus);
    }

protected:
    void initStyleOption(QStyleOptionButton *option) const override
    {
        QCheckBox::initStyleOption(option);
        const int width =
            style()->subElementRect(QStyle::SE_CheckBoxContents, option, this).width();
        QStringList shown;
        for (const QString &line : lines)
            shown.append(withoutMnemonic(fontMetrics().elidedText(line, Qt::ElideMiddle, width)));
        option->text = shown.join(QLatin1Char('\n'));
    }

    bool hitButton(const QPoint &position) const override
    {
        QStyleOptionButton option;
        QCheckBox::initStyleOption(&option);
        return style()
            ->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this)
            .contains(position);
    }

private:
    const QStringList lines;
};

} // namespace

PreviewCard::PreviewCard(const QString &damagedName, const QString &outputName,
                         const QString &thumbPath, QWidget *parent)
    : ClickableFrame(parent), box(new NameBox(damagedName, outputName))
{
    auto *thumb = new ThumbWidget(thumbPath);
    thumb->setFixedSize(114, 92);
    box->setChecked(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(10);
    layout->addWidget(thumb);
    layout->addWidget(box, 1);
    setAccessibleName(damagedName);
    setSelected(false);
}

void PreviewCard::setSelected(bool isSelected)
{
    setStyleSheet(
        QString::fromUtf16(isSelected ? StyleSheet::previewCardSelected : StyleSheet::previewCard));
    setFocusPolicy(isSelected ? Qt::StrongFocus : Qt::ClickFocus);
}

void PreviewCard::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Up && onStep)
        onStep(-1);
    else if (event->key() == Qt::Key_Down && onStep)
        onStep(1);
    else
        ClickableFrame::keyPressEvent(event);
}

void PreviewCard::focusInEvent(QFocusEvent *event)
{
    ClickableFrame::focusInEvent(event);
    if (onFocused)
        onFocused();
}
