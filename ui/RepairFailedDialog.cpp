#include "ui/RepairFailedDialog.h"

#include "ui/Buttons.h"
#include "ui/StyleSheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int badgeSize = 72;

QLabel *makeStyledLabel(const QString &text, const char16_t *styleSheet)
{
    auto *label = new QLabel(text);
    label->setStyleSheet(QString::fromUtf16(styleSheet));
    return label;
}

/** @param advanced the texts are fixed, the number of files in them too */
QVBoxLayout *makeTexts(bool advanced)
{
    QLabel *heading = makeStyledLabel(advanced ? QStringLiteral("Video Repair Failed")
                                               : QStringLiteral("All videos have been processed."),
                                      StyleSheet::failureHeading);
    QLabel *detail =
        makeStyledLabel(advanced ? QStringLiteral("Advanced repair could not be completed.")
                                 : QStringLiteral("1 file failed to repair."),
                        StyleSheet::failureDetail);
    detail->setWordWrap(true);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(8);
    texts->addStretch(1);
    texts->addWidget(heading);
    texts->addWidget(detail);
    texts->addStretch(1);
    return texts;
}

} // namespace

RepairFailedDialog::RepairFailedDialog(bool advanced, QWidget *parent) : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Repair Failed"));
    setModal(true);

    QLabel *badge = makeStyledLabel(QStringLiteral("×"), StyleSheet::failureBadge);
    badge->setFixedSize(badgeSize, badgeSize);
    badge->setAlignment(Qt::AlignCenter);
    auto *top = new QHBoxLayout;
    top->setSpacing(22);
    top->addWidget(badge);
    top->addLayout(makeTexts(advanced), 1);

    auto *actions = new QHBoxLayout;
    actions->setSpacing(12);
    actions->addStretch(1);
    QPushButton *main = makeObjectButton(QStringLiteral("Close"), QStringLiteral("OutlineButton"));
    connect(main, &QPushButton::clicked, this, &QDialog::reject);
    actions->addWidget(main);
    if (!advanced) {
        main = makeObjectButton(QStringLiteral("Advanced Repair"), QStringLiteral("BlueButton"));
        connect(main, &QPushButton::clicked, this, &QDialog::accept);
        actions->addWidget(main);
    }
    main->setDefault(true);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 28, 32, 26);
    layout->setSpacing(18);
    layout->addLayout(top, 1);
    layout->addLayout(actions);
    resize(520, 230);
    main->setFocus();
}
