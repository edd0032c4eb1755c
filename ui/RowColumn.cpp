#include "ui/RowColumn.h"

#include <QApplication>
#include <QEvent>
#include <QLayoutItem>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <memory>
#include <utility>

namespace {

/** A row may be in the middle of telling of a click: it goes when that is over. */
void discard(QWidget *row)
{
    row->hide();
    row->deleteLater();
}

bool hasFocus(const QWidget *row)
{
    const QWidget *focus = QApplication::focusWidget();
    return focus != nullptr && row->isAncestorOf(focus);
}

} // namespace

RowColumn::RowColumn(QScrollArea *scrollArea, Count countRows, Provide provideRow)
    : QObject(scrollArea),
      area(scrollArea),
      layout(qobject_cast<QVBoxLayout *>(scrollArea->widget()->layout())),
      countNow(std::move(countRows)),
      provide(std::move(provideRow))
{
    connect(area->verticalScrollBar(), &QScrollBar::valueChanged, this, &RowColumn::follow);
    area->viewport()->installEventFilter(this);
}

void RowColumn::refresh()
{
    if (isRefreshDue)
        return;
    isRefreshDue = true;
    QMetaObject::invokeMethod(this, &RowColumn::bringUpToDate, Qt::QueuedConnection);
}

bool RowColumn::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize)
        follow();
    return QObject::eventFilter(watched, event);
}

void RowColumn::bringUpToDate()
{
    isRefreshDue = false;
    count = static_cast<int>(countNow());
    update(true);
}

void RowColumn::follow()
{
    // A refresh that is due looks at everything anyway; until then the list may be another.
    if (!isRefreshDue && countNow() == count)
        update(false);
}

void RowColumn::update(bool mayHaveChanged)
{
    // Adding and hiding rows may scroll the list, which asks for rows again.
    if (isUpdating)
        return;
    isUpdating = true;
    show(rangeInSight(), mayHaveChanged);
    if (learnRowHeight())
        show(rangeInSight(), true);
    isUpdating = false;
    if (const Range now = rangeInSight(); now.first != shown.first || now.end != shown.end)
        refresh();
}

void RowColumn::show(Range wanted, bool mayHaveChanged)
{
    bool isChanged = mayHaveChanged || wanted.first != shown.first || wanted.end != shown.end;
    QList<QWidget *> wantedRows;
    QList<QWidget *> discarded;
    QWidget *focused = nullptr;
    wantedRows.reserve(wanted.end - wanted.first);
    for (int i = wanted.first; i < wanted.end; ++i) {
        QWidget *present = shown.contains(i) ? rows[i - shown.first] : nullptr;
        QWidget *row = present != nullptr && !mayHaveChanged ? present : provide(i, present);
        if (present != nullptr && row != present) {
            isChanged = true;
            discarded.append(present);
            if (hasFocus(present))
                focused = row;
        }
        wantedRows.append(row);
    }
    for (int i = shown.first; i < shown.end; ++i) {
        if (!wanted.contains(i))
            discarded.append(rows[i - shown.first]);
    }
    shown = wanted;
    rows = wantedRows;
    if (isChanged)
        arrange();
    leave(discarded, focused);
}

/** Lets rows go, and the focus with them: to the row that takes one's place, or to the list. */
void RowColumn::leave(const QList<QWidget *> &discarded, QWidget *successor)
{
    for (QWidget *row : discarded) {
        if (hasFocus(row)) {
            auto *button = successor != nullptr ? successor->findChild<QPushButton *>() : nullptr;
            (button != nullptr ? static_cast<QWidget *>(button) : area)
                ->setFocus(Qt::OtherFocusReason);
        }
        discard(row);
    }
}

RowColumn::Range RowColumn::rangeInSight() const
{
    if (count == 0)
        return {};
    const int top = area->verticalScrollBar()->value() - layout->contentsMargins().top();
    // Without regard to the horizontal bar, which comes and goes with the rows that there are.
    const int height = area->maximumViewportSize().height();
    // Before there are rows their height is not known: one is shown to learn it.
    if (rowHeight == 0)
        return {0, 1};
    const int inSight = height / pitch() + 2;
    // As many again above and below: scrolling by a page and the tab key find them there.
    const int firstInSight = top / pitch();
    const int end = qBound(0, firstInSight + 2 * inSight, count);
    return {qBound(0, firstInSight - inSight, end), end};
}

int RowColumn::pitch() const
{
    return rowHeight + layout->spacing();
}

/** All rows are as high as any of them. Returns whether that is another height than before. */
bool RowColumn::learnRowHeight()
{
    if (rows.isEmpty())
        return false;
    const int height = qMax(rows.first()->minimumHeight(), rows.first()->sizeHint().height());
    return std::exchange(rowHeight, height) != height;
}

void RowColumn::arrange()
{
    while (layout->count() > 0)
        const std::unique_ptr<QLayoutItem> item(layout->takeAt(0));
    // Room for the rows that do not exist. Spacers add no spacing of the layout's own.
    if (shown.first > 0)
        layout->addSpacerItem(new QSpacerItem(0, shown.first * pitch()));
    for (QWidget *row : std::as_const(rows))
        layout->addWidget(row);
    if (shown.end < count)
        layout->addSpacerItem(new QSpacerItem(0, (count - shown.end) * pitch()));
    layout->addStretch(1);
    arrangeFocus();
}

/** The tab key goes from row to row, however long ago each was made. */
void RowColumn::arrangeFocus()
{
    QWidget *previous = area;
    for (QWidget *row : std::as_const(rows)) {
        const auto buttons = row->findChildren<QPushButton *>();
        for (QPushButton *button : buttons) {
            QWidget::setTabOrder(previous, button);
            previous = button;
        }
    }
}
