#include "ui/Buttons.h"
#include "ui/MainWindow.h"
#include "ui/RowColumn.h"
#include "ui/StyleSheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

QWidget *makeSummaryColumn(QLabel *summary)
{
    auto *column = new QFrame;
    column->setObjectName(QStringLiteral("ResultSide"));
    column->setFixedWidth(218);
    auto *layout = new QVBoxLayout(column);
    layout->setContentsMargins(16, 20, 16, 16);
    layout->addWidget(summary);
    layout->addStretch(1);
    return column;
}

/** The list's scroll area; its widget's layout holds no rows yet. */
QScrollArea *makeResultList()
{
    auto *area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setStyleSheet(QString::fromUtf16(StyleSheet::resultScroll));
    area->verticalScrollBar()->setStyleSheet(QString::fromUtf16(StyleSheet::scrollBarEnds));
    auto *content = new QWidget;
    content->setStyleSheet(QString::fromUtf16(StyleSheet::resultContent));
    auto *rowLayout = new QVBoxLayout(content);
    rowLayout->setContentsMargins(0, 0, 0, 0);
    rowLayout->setSpacing(0);
    rowLayout->addStretch(1);
    area->setWidget(content);
    return area;
}

} // namespace

QWidget *MainWindow::createResultPage()
{
    auto *page = new QFrame;
    page->setObjectName(QStringLiteral("ResultPage"));
    auto *pageLayout = new QHBoxLayout(page);
    pageLayout->setContentsMargins(0, 0, 0, 0);
    pageLayout->setSpacing(0);

    resultSummaryLabel = new QLabel(QStringLiteral("All Videos       1"));
    resultSummaryLabel->setStyleSheet(QString::fromUtf16(StyleSheet::resultSummary));

    auto *column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    QScrollArea *resultList = makeResultList();
    column->addWidget(resultList, 1);
    resultRows = new RowColumn(
        resultList, [this] { return run.repairQueue.size(); },
        [this](int index, QWidget *present) { return provideResultRow(index, present); });
    column->addWidget(createResultFooter());

    pageLayout->addWidget(makeSummaryColumn(resultSummaryLabel));
    pageLayout->addLayout(column, 1);
    refreshResultList();
    return page;
}

QWidget *MainWindow::createResultFooter()
{
    auto *footer = new QFrame;
    footer->setObjectName(QStringLiteral("ResultFooter"));
    auto *layout = new QHBoxLayout(footer);
    layout->setContentsMargins(20, 14, 22, 14);

    const QString outline = QStringLiteral("OutlineButton");
    const QString blue = QStringLiteral("BlueButton");
    QPushButton *add = makeObjectButton(QStringLiteral("Add Videos"), outline);
    QPushButton *removeAll = makeObjectButton(QStringLiteral("Remove All"), outline);
    previewButton = makeObjectButton(QStringLiteral("Preview"), outline);
    saveButton = makeObjectButton(QStringLiteral("Save (0)"), blue);
    saveAllButton = makeObjectButton(QStringLiteral("Save All (0)"), blue);

    layout->addWidget(add);
    layout->addSpacing(12);
    layout->addWidget(removeAll);
    layout->addStretch(1);
    layout->addWidget(previewButton);
    layout->addSpacing(12);
    layout->addWidget(saveButton);
    layout->addSpacing(12);
    layout->addWidget(saveAllButton);

    connect(previewButton, &QPushButton::clicked, this, [this] {
        run.previewSourcePath.clear();
        showPreviewDialog();
    });
    // Wanted: both save the same; how much depends on what there is to save.
    connect(saveButton, &QPushButton::clicked, this, &MainWindow::saveResults);
    connect(saveAllButton, &QPushButton::clicked, this, &MainWindow::saveResults);
    connect(add, &QPushButton::clicked, this, &MainWindow::chooseDamagedFile);
    connect(removeAll, &QPushButton::clicked, this, &MainWindow::resetToImportPage);
    return footer;
}
