#include "ui/PreviewDialog.h"

#include "app/TextPattern.h"
#include "metadata/MetadataText.h"
#include "ui/Buttons.h"
#include "ui/PreviewArea.h"
#include "ui/PreviewCard.h"
#include "ui/StyleSheet.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

constexpr int sideWidth = 356;

} // namespace

PreviewDialog::PreviewDialog(QList<Item> shownItems,
                             std::function<void(const QString &)> playOutput, QWidget *parent)
    : QDialog(parent), items(std::move(shownItems)), play(std::move(playOutput))
{
    setModal(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->setSpacing(18);
    layout->addWidget(makeSide());
    layout->addLayout(makeMain(), 1);
    resize(870, 552);
    select(0);
    cards.first()->setFocus();
}

void PreviewDialog::select(int index)
{
    cards[selected]->setSelected(false);
    selected = index;
    cards[index]->setSelected(true);
    cards[index]->checkBox()->setChecked(true);
    const Item &item = items[index];
    area->showPicture(item.thumbPath);
    const QFileInfo source(item.source);
    setWindowTitle(
        TextPattern::fill(QStringLiteral("%1  (%2)"), source.fileName(), sizeText(source.size())));
}

void PreviewDialog::openPreview(int index)
{
    if (index < 0 || index >= items.size())
        return;
    // Making a clip takes a while. Clicks that come meanwhile are lost, and not kept for later.
    const QPointer<QWidget> focus = focusWidget();
    setEnabled(false);
    play(items[index].output);
    setEnabled(true);
    if (!focus.isNull())
        focus->setFocus();
}

QWidget *PreviewDialog::makeSide()
{
    selectAll = new QCheckBox(TextPattern::fill(QStringLiteral("Select All (%1)"), items.size()));
    selectAll->setStyleSheet(QString::fromUtf16(StyleSheet::previewCheckBox));
    selectAll->setCursor(Qt::PointingHandCursor);
    selectAll->setChecked(true);
    auto *panel = new QFrame;
    panel->setStyleSheet(QString::fromUtf16(StyleSheet::previewList));
    panel->setFixedWidth(sideWidth);
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(10, 14, 10, 10);
    layout->setSpacing(12);
    layout->addWidget(selectAll);
    layout->addWidget(makeCards(), 1);
    connect(selectAll, &QCheckBox::toggled, this, [this](bool isChecked) {
        for (PreviewCard *card : std::as_const(cards))
            card->checkBox()->setChecked(isChecked);
    });
    return panel;
}

QWidget *PreviewDialog::makeCards()
{
    auto *content = new QWidget;
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    for (int i = 0; i < items.size(); ++i) {
        const Item &item = items[i];
        auto *card = new PreviewCard(QFileInfo(item.source).fileName(),
                                     QFileInfo(item.output).fileName(), item.thumbPath);
        card->onClicked = [this, i] { select(i); };
        card->onStep = [this, i](int step) {
            const int next = std::clamp(i + step, 0, static_cast<int>(items.size()) - 1);
            select(next);
            cards[next]->setFocus();
        };
        connect(card->checkBox(), &QCheckBox::toggled, this, &PreviewDialog::showAllChecked);
        cards.append(card);
        column->addWidget(card);
    }
    column->addStretch(1);

    auto *scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->verticalScrollBar()->setStyleSheet(QString::fromUtf16(StyleSheet::previewScrollBar));
    scroll->setWidget(content);
    for (PreviewCard *card : std::as_const(cards))
        card->onFocused = [scroll, card] { scroll->ensureWidgetVisible(card, 0, 0); };
    return scroll;
}

QLayout *PreviewDialog::makeMain()
{
    area = new PreviewArea;
    connect(area->playButton(), &QPushButton::clicked, this, [this] { openPreview(selected); });
    auto *hint = new QLabel(QStringLiteral(
        "If the result is not satisfactory, try Advanced Repair with a sample video."));
    hint->setWordWrap(true);
    auto *layout = new QVBoxLayout;
    layout->setSpacing(14);
    layout->addWidget(area, 1);
    layout->addWidget(hint);
    layout->addLayout(makeActions());
    return layout;
}

QLayout *PreviewDialog::makeActions()
{
    QPushButton *playButton =
        makeObjectButton(QStringLiteral("Play 30s Preview"), QStringLiteral("BlueButton"));
    playButton->setDefault(true);
    connect(playButton, &QPushButton::clicked, this, [this] { openPreview(selected); });
    QPushButton *advancedButton =
        makeObjectButton(QStringLiteral("Advanced Repair"), QStringLiteral("OutlineButton"));
    connect(advancedButton, &QPushButton::clicked, this, &QDialog::accept);
    QPushButton *saveButton =
        makeObjectButton(TextPattern::fill(QStringLiteral("Save Video (%1)"), items.size()),
                         QStringLiteral("BlueButton"));
    connect(saveButton, &QPushButton::clicked, this, &PreviewDialog::saveRequested);

    auto *layout = new QHBoxLayout;
    // What the widest of the systems' fonts leaves.
    layout->setSpacing(8);
    layout->addStretch(1);
    layout->addWidget(playButton);
    layout->addWidget(advancedButton);
    layout->addWidget(saveButton);
    return layout;
}

/** The box for all follows the others without changing them. */
void PreviewDialog::showAllChecked()
{
    const QSignalBlocker blocker(selectAll);
    selectAll->setChecked(std::ranges::all_of(
        cards, [](const PreviewCard *card) { return card->checkBox()->isChecked(); }));
}
