#pragma once

#include <QList>
#include <QObject>

#include <functional>

class QScrollArea;
class QVBoxLayout;
class QWidget;

/**
 * The rows of a list in a scroll area. However many there are, only those in sight and some around
 * them exist as widgets; room is kept for the others, so that the list scrolls as if all were
 * there. All rows of a list are of one height.
 */
class RowColumn : public QObject
{
    Q_OBJECT

public:
    /**
     * Gives the widget for a row: `present`, which has shown the row so far, when it shows the row
     * as it now is, or else a new one without a parent. `present` is null when there is none.
     */
    using Provide = std::function<QWidget *(int index, QWidget *present)>;

    /** Tells how many rows the list has now. */
    using Count = std::function<qsizetype()>;

    /**
     * @param scrollArea shows the rows; its widget has a QVBoxLayout, whose margins and spacing
     *                   count, and which holds nothing but the rows and a last stretch
     */
    RowColumn(QScrollArea *scrollArea, Count countRows, Provide provideRow);

    /**
     * The list may have become longer or shorter, and any row may look different now. The rows are
     * brought up to date before anything is painted; calls in one go cost as much as one.
     */
    void refresh();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    /** Indexes from `first` to before `end`. */
    struct Range
    {
        int first = 0;
        int end = 0;

        bool contains(int index) const { return index >= first && index < end; }
    };

    void bringUpToDate();
    void follow();
    void update(bool mayHaveChanged);
    void show(Range wanted, bool mayHaveChanged);
    void leave(const QList<QWidget *> &discarded, QWidget *successor);
    Range rangeInSight() const;
    int pitch() const;
    bool learnRowHeight();
    void arrange();
    void arrangeFocus();

    QScrollArea *area;
    QVBoxLayout *layout;
    Count countNow;
    Provide provide;
    /** How many rows the list had when it was last brought up to date. */
    int count = 0;
    bool isRefreshDue = false;
    bool isUpdating = false;
    int rowHeight = 0;
    /** Rows that exist, one widget each. */
    Range shown;
    QList<QWidget *> rows;
};
