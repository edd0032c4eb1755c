#pragma once

#include <QFrame>
#include <QString>

class QPushButton;
class ThumbWidget;

/** One item of a repair run. Shows one content for all its life. */
class ResultRow : public QFrame
{
    Q_OBJECT

public:
    /** What can be done about the item. */
    enum class Action { None, Preview, AdvancedRepair };

    /** All that a row shows, and whose it is. */
    struct Content
    {
        /** Path of the damaged video; the row shows its name. */
        QString damagedFile;
        QString status;
        /** The item is repaired. */
        bool isOk = false;
        Action action = Action::None;
        bool isActionEnabled = true;
        /** The thumbnail's file; empty when there is none yet. */
        QString thumbPath;

        bool operator==(const Content &) const = default;
    };

    explicit ResultRow(Content rowContent, QWidget *parent = nullptr);

    const Content &content() const { return shown; }

    /** Paints the thumbnail anew: its file may have been written again. */
    void refreshThumb();

Q_SIGNALS:
    /**
     * The action's button was pressed. Sent from inside its click: to be connected queued where the
     * row may be deleted by what follows.
     */
    void actionRequested();

private:
    QPushButton *makeActionButton();

    const Content shown;
    ThumbWidget *thumb;
};
