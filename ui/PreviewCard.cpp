#include "ui/PreviewCard.h"

#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QStyle>
#include <QStyleOptionButton>

namespace {

/** A check box that shortens long lines of its text, and whose switch alone is for clicks. */
class NameBox : public QCheckBox
{
public:
    explicit NameBox(const QString &text) : lines(text.split(QLatin1Char('\n')))
    {
        setText(QString(text).replace(QLatin1Char('&'), QStringLiteral("&&")));
        setToolTip(text);
        setStyleSheet(QString::fromUtf16(StyleSheet::previewCheckBox));
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    }

protected:
    void initStyleOption(QStyleOptionButton *option) const override
    {
        QCheckBox::initStyleOption(option);
        const int width =
            style()->subElementRect(QStyle::SE_CheckBoxContents, option, this).width();
        QStringList shown;
        for (const QString &line : lines)
            shown.append(fontMetrics()
                             .elidedText(line, Qt::ElideMiddle, width)
                             .replace(QLatin1Char('&'), QStringLiteral("&&")));
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

PreviewCard::PreviewCard(const QString &text, const QString &thumbPath, QWidget *parent)
    : ClickableFrame(parent), box(new NameBox(text))
{
    auto *thumb = new ThumbWidget(thumbPath);
    thumb->setFixedSize(114, 92);
    box->setChecked(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(10);
    layout->addWidget(thumb);
    layout->addWidget(box, 1);
    setAccessibleName(text);
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
