#include "ui/ImportRow.h"

#include "ui/Buttons.h"
#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <utility>

ImportRow::ImportRow(Content rowContent, QWidget *parent)
    : QFrame(parent), shown(std::move(rowContent)), thumb(new ThumbWidget(shown.thumbPath))
{
    setStyleSheet(QString::fromUtf16(StyleSheet::importRow));
    thumb->setFixedSize(104, 76);
    QLabel *name = makeTextLabel(shown.fileName, QStringLiteral("FileName"));
    QLabel *detail = makeMetaLabel(shown.detail);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(8);
    texts->addWidget(name);
    texts->addWidget(detail);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 12, 10, 12);
    layout->setSpacing(16);
    layout->addWidget(thumb);
    layout->addLayout(texts, 1);
}

void ImportRow::refreshThumb()
{
    thumb->update();
}
