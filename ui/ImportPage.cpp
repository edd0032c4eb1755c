#include "ui/Buttons.h"
#include "ui/DropPanel.h"
#include "ui/MainWindow.h"
#include "ui/UploadGraphic.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLabel *makeCentredLabel(const QString &text, const QString &objectName)
{
    auto *label = new QLabel(text);
    label->setObjectName(objectName);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

QHBoxLayout *makeCentredRow(QWidget *widget)
{
    auto *row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(widget);
    row->addStretch();
    return row;
}

} // namespace

QWidget *MainWindow::createImportPage()
{
    auto *page = new QWidget;
    auto *pageLayout = new QVBoxLayout(page);
    pageLayout->setContentsMargins(0, 0, 0, 0);

    auto *panel = new DropPanel;
    panel->onFilesDropped = [this](const QStringList &files) { addDamagedFiles(files, true); };
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(46, 48, 46, 42);
    layout->setSpacing(14);
    // Styled like a link, and no more than a text.
    QLabel *formats =
        makeCentredLabel(QStringLiteral("Supported formats >>\nMP4, MOV, AVI, MKV, MPG, WMV, 3GP, "
                                        "RSV, MTS, TS, DAT, FLV, M4V, WEBM, M2TS, SWF, MPEG, MXF, "
                                        "RMVB, INSV, 3G2, RM, KLV, AEP"),
                         QStringLiteral("LinkText"));
    formats->setWordWrap(true);
    QPushButton *add = makeObjectButton(QStringLiteral("+ Add"), QStringLiteral("PrimaryButton"));

    layout->addStretch(1);
    layout->addLayout(makeCentredRow(new UploadGraphic));
    layout->addWidget(
        makeCentredLabel(QStringLiteral("Import Damaged Videos"), QStringLiteral("UploadTitle")));
    layout->addWidget(makeCentredLabel(QStringLiteral("Click Add or drag damaged videos here"),
                                       QStringLiteral("UploadHint")));
    layout->addWidget(formats);
    layout->addLayout(makeCentredRow(add));
    layout->addStretch(1);
    pageLayout->addWidget(panel, 1);

    connect(add, &QPushButton::clicked, this, &MainWindow::chooseDamagedFile);
    return page;
}
