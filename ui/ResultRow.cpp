#include "ui/ResultRow.h"

#include "ui/Buttons.h"
#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <utility>

ResultRow::ResultRow(Content rowContent, QWidget *parent)
    : QFrame(parent), shown(std::move(rowContent)), thumb(new ThumbWidget(shown.thumbPath))
{
    setObjectName(QStringLiteral("ResultRow"));
    setMinimumHeight(104);
    thumb->setFixedSize(94, 68);
    QLabel *status = makeTextLabel(shown.status, QStringLiteral("ResultStatus"));
    status->setStyleSheet(
        QString::fromUtf16(shown.isOk ? StyleSheet::resultStatusOk : StyleSheet::resultStatusOpen));

    auto *texts = new QVBoxLayout;
    texts->setSpacing(8);
    texts->addWidget(
        makeTextLabel(QFileInfo(shown.damagedFile).fileName(), QStringLiteral("ResultName")));
    texts->addWidget(status);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(26, 14, 24, 14);
    layout->setSpacing(20);
    layout->addWidget(thumb);
    layout->addLayout(texts, 1);
    if (QPushButton *button = makeActionButton(); button != nullptr)
        layout->addWidget(button);
}

void ResultRow::refreshThumb()
{
    thumb->update();
}

QPushButton *ResultRow::makeActionButton()
{
    if (shown.action == Action::None)
        return nullptr;
    QPushButton *button =
        shown.action == Action::Preview
            ? makeObjectButton(QStringLiteral("Preview"), QStringLiteral("OutlineButton"))
            : makeObjectButton(QStringLiteral("Advanced Repair"), QStringLiteral("BlueButton"));
    // The list's sheet gives its background to everything in it; buttons keep theirs.
    button->setStyleSheet(
        StyleSheet::rulesFor(QStringLiteral("QPushButton#") + button->objectName()));
    button->setEnabled(shown.isActionEnabled);
    connect(button, &QPushButton::clicked, this, &ResultRow::actionRequested);
    return button;
}
