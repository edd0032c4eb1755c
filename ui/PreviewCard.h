#pragma once

#include "ui/ClickableFrame.h"

class QCheckBox;

/**
 * One repaired file of the preview's list: its thumbnail, its two names and a check box. A click
 * anywhere but on the box's switch is a click on the card.
 */
class PreviewCard : public ClickableFrame
{
    Q_OBJECT

public:
    /** The names are without folders; the thumbnail's file may not exist. */
    PreviewCard(const QString &damagedName, const QString &outputName, const QString &thumbPath,
                QWidget *parent = nullptr);

    QCheckBox *checkBox() const { return box; }

    /** Highlights it, and has the tab key come by: it passes the cards that are not selected. */
    void setSelected(bool isSelected);

    /** Called with -1 or 1 when the user goes up or down by keys. */
    std::function<void(int)> onStep;

    /** Called when the card gets the keyboard. */
    std::function<void()> onFocused;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;

private:
    QCheckBox *box;
};
