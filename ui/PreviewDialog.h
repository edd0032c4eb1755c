#pragma once

#include <QDialog>
#include <QList>
#include <QString>

#include <functional>

class PreviewArea;
class PreviewCard;
class QCheckBox;

/**
 * Shows repaired files, one of them large, and lets the user play, save or repair them again.
 * Accepted when the user wants an advanced repair. Holds copies of all it shows: what happens to
 * the run while it is open does not touch it.
 */
class PreviewDialog : public QDialog
{
    Q_OBJECT

public:
    /** One repaired file. */
    struct Item
    {
        /** Path of the repaired file. */
        QString output;
        /** Path of the damaged video that it came from. */
        QString source;
        /** The thumbnail's file; may be empty or not exist. */
        QString thumbPath;
    };

    /**
     * @param shownItems at least one; the first is selected
     * @param playOutput plays the repaired file of this path; may return late
     */
    PreviewDialog(QList<Item> shownItems, std::function<void(const QString &)> playOutput,
                  QWidget *parent = nullptr);

    /** Index of the item that is shown large. */
    int selectedIndex() const { return selected; }

    /** Shows an item large and checks it. */
    void select(int index);

    /** Plays an item; nothing happens when there is none of this index. */
    void openPreview(int index);

Q_SIGNALS:
    /** The user wants to save. The dialog stays open. */
    void saveRequested();

private:
    QWidget *makeSide();
    QWidget *makeCards();
    QLayout *makeMain();
    QLayout *makeActions();
    void showAllChecked();

    const QList<Item> items;
    const std::function<void(const QString &)> play;
    int selected = 0;
    QCheckBox *selectAll = nullptr;
    QList<PreviewCard *> cards;
    PreviewArea *area = nullptr;
};
