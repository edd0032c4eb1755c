#include "ui/Buttons.h"
#include "ui/MainWindow.h"
#include "ui/RowColumn.h"
#include "ui/StyleSheet.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

/** The list's scroll area; its widget's layout holds no rows yet. */
QScrollArea *makeFileList()
{
    auto *area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setStyleSheet(QString::fromUtf16(StyleSheet::fileListScroll));
    area->verticalScrollBar()->setStyleSheet(QString::fromUtf16(StyleSheet::scrollBarEnds));
    auto *content = new QWidget;
    content->setStyleSheet(QString::fromUtf16(StyleSheet::fileListContent));
    auto *rowLayout = new QVBoxLayout(content);
    rowLayout->setContentsMargins(4, 18, 4, 18);
    rowLayout->setSpacing(10);
    rowLayout->addStretch(1);
    area->setWidget(content);
    return area;
}

} // namespace

QWidget *MainWindow::createFileListPage()
{
    auto *page = new QWidget;
    auto *pageLayout = new QVBoxLayout(page);
    pageLayout->setContentsMargins(4, 0, 14, 0);
    pageLayout->setSpacing(0);

    auto *panel = new QFrame;
    panel->setObjectName(QStringLiteral("WhitePanel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(24, 18, 24, 10);
    layout->setSpacing(0);

    listHeaderLabel = new QLabel(QStringLiteral("Videos to Repair (1)"));
    listHeaderLabel->setObjectName(QStringLiteral("TabActive"));
    // Looks like a second tab, and is no more than a label.
    auto *resultsLabel = new QLabel(QStringLiteral("Repair Results"));
    resultsLabel->setObjectName(QStringLiteral("Tab"));
    auto *header = new QHBoxLayout;
    header->addWidget(listHeaderLabel);
    header->addSpacing(34);
    header->addWidget(resultsLabel);
    header->addStretch(1);

    auto *divider = new QFrame;
    divider->setObjectName(QStringLiteral("Divider"));
    layout->addLayout(header);
    layout->addSpacing(16);
    layout->addWidget(divider);
    QScrollArea *fileList = makeFileList();
    layout->addWidget(fileList, 1);
    importRows = new RowColumn(
        fileList, [this] { return damagedFiles.size(); },
        [this](int index, QWidget *present) { return provideImportRow(index, present); });

    pageLayout->addWidget(panel, 1);
    pageLayout->addWidget(createFileListFooter());
    return page;
}

QWidget *MainWindow::createFileListFooter()
{
    auto *footer = new QFrame;
    footer->setObjectName(QStringLiteral("Footer"));
    auto *layout = new QHBoxLayout(footer);
    layout->setContentsMargins(24, 14, 24, 14);

    QPushButton *add =
        makeObjectButton(QStringLiteral("+ Add Videos"), QStringLiteral("OutlineButton"));
    QPushButton *removeAll =
        makeObjectButton(QStringLiteral("Remove All"), QStringLiteral("DangerButton"));
    progressLabel = makeMetaLabel({});
    advancedModeCheck = new QCheckBox(QStringLiteral("Advanced Repair Mode"));
    advancedModeCheck->setCursor(Qt::PointingHandCursor);
    repairButton = makeObjectButton(QStringLiteral("Repair"), QStringLiteral("PrimaryButton"));

    layout->addWidget(add);
    layout->addSpacing(12);
    layout->addWidget(removeAll);
    layout->addStretch(1);
    layout->addWidget(progressLabel);
    layout->addSpacing(12);
    layout->addWidget(advancedModeCheck);
    layout->addSpacing(12);
    layout->addWidget(repairButton);

    connect(add, &QPushButton::clicked, this, &MainWindow::chooseDamagedFile);
    connect(removeAll, &QPushButton::clicked, this, &MainWindow::resetToImportPage);
    connect(repairButton, &QPushButton::clicked, this, [this] {
        if (advancedModeCheck->isChecked())
            chooseSampleAndCompare();
        else
            startRepair(false);
    });
    return footer;
}
