#include "ui/ComparisonDialog.h"

#include "ui/Buttons.h"
#include "ui/LineLabel.h"
#include "ui/StyleSheet.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int columns = 3;
QLabel *makeCell(const QString &text, const char16_t *styleSheet)
{
    auto *cell = new LineLabel(text);
    cell->setStyleSheet(QString::fromUtf16(styleSheet));
    cell->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    return cell;
}

} // namespace

ComparisonDialog::ComparisonDialog(const QList<ComparisonRow> &rows, QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Video Parameter Comparison"));
    setModal(true);

    auto *note =
        new QLabel(QStringLiteral("The sample video will be used for all damaged videos."));
    note->setStyleSheet(QString::fromUtf16(StyleSheet::comparisonNote));
    QPushButton *repairButton =
        makeObjectButton(QStringLiteral("Repair"), QStringLiteral("BlueButton"));
    repairButton->setDefault(true);
    connect(repairButton, &QPushButton::clicked, this, &QDialog::accept);

    auto *footer = new QHBoxLayout;
    footer->setContentsMargins(8, 0, 8, 0);
    footer->addWidget(note, 1);
    footer->addWidget(repairButton);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 16);
    layout->setSpacing(14);
    layout->addLayout(makeTable(rows), 1);
    layout->addLayout(footer);
    resize(545, 375);
    repairButton->setFocus();
}

QGridLayout *ComparisonDialog::makeTable(const QList<ComparisonRow> &rows)
{
    auto *table = new QGridLayout;
    table->setSpacing(0);
    table->setContentsMargins(0, 0, 0, 0);
    const QStringList headings = {QStringLiteral("Parameter"), QStringLiteral("Damaged Video"),
                                  QStringLiteral("Sample Video")};
    for (int column = 0; column < columns; ++column) {
        table->setColumnStretch(column, 1);
        table->addWidget(makeCell(headings[column], StyleSheet::comparisonHeader), 0, column);
    }
    int line = 0;
    for (const ComparisonRow &row : rows) {
        const char16_t *style =
            line % 2 == 0 ? StyleSheet::comparisonCell : StyleSheet::comparisonCellOdd;
        ++line;
        table->addWidget(makeCell(row.parameter, style), line, 0);
        table->addWidget(makeCell(row.damaged, style), line, 1);
        table->addWidget(
            makeCell(row.sample, row.isMismatch() ? StyleSheet::comparisonMismatch : style), line,
            2);
    }
    return table;
}
