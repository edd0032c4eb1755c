#include "ui/SampleDialog.h"

#include "metadata/SupportedFormats.h"
#include "ui/Buttons.h"
#include "ui/DropLineEdit.h"
#include "ui/StyleSheet.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

#include <utility>

SampleDialog::SampleDialog(const QString &samplePath, QWidget *parent)
    : QDialog(parent), pathEdit(new DropLineEdit(samplePath))
{
    setWindowTitle(QStringLiteral("Add Sample Video"));
    setModal(true);

    auto *title = new QLabel(QStringLiteral("Add a sample video for advanced repair"));
    title->setStyleSheet(QString::fromUtf16(StyleSheet::sampleTitle));
    auto *hint = new QLabel(QStringLiteral("Use a playable video from the same device, or one with "
                                           "the same format as the damaged video."));
    hint->setWordWrap(true);
    pathEdit->setPlaceholderText(QStringLiteral("Click to add a video"));
    pathEdit->setAccessibleName(QStringLiteral("Sample video"));
    pathEdit->installEventFilter(this);
    QPushButton *browseButton =
        makeObjectButton(QStringLiteral("Browse"), QStringLiteral("BlueButton"));
    connect(browseButton, &QPushButton::clicked, this, &SampleDialog::browse);
    QPushButton *okButton = makeObjectButton(QStringLiteral("OK"), QStringLiteral("BlueButton"));
    okButton->setDefault(true);
    connect(okButton, &QPushButton::clicked, this, &SampleDialog::acceptPath);

    auto *field = new QHBoxLayout;
    field->setSpacing(12);
    field->addWidget(pathEdit, 1);
    field->addWidget(browseButton);
    auto *actions = new QHBoxLayout;
    actions->addStretch(1);
    actions->addWidget(okButton);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(30, 28, 30, 28);
    layout->setSpacing(14);
    layout->addWidget(title);
    layout->addWidget(hint);
    layout->addLayout(field);
    layout->addStretch(1);
    layout->addLayout(actions);
    resize(545, 248);
    pathEdit->setFocus();
}

QString SampleDialog::samplePath() const
{
    return pathEdit->text().trimmed();
}

bool SampleDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != pathEdit ||
        (event->type() != QEvent::MouseButtonPress && event->type() != QEvent::MouseButtonRelease))
        return QDialog::eventFilter(watched, event);
    const auto *mouse = static_cast<const QMouseEvent *>(event);
    const bool wasPressed =
        std::exchange(isFieldPressed, event->type() == QEvent::MouseButtonPress);
    // Text may be marked with the mouse all the same.
    if (wasPressed && !isFieldPressed && mouse->button() == Qt::LeftButton &&
        pathEdit->rect().contains(mouse->position().toPoint()) && !pathEdit->hasSelectedText())
        // Later: the field has to see the end of the click first.
        QMetaObject::invokeMethod(this, &SampleDialog::browse, Qt::QueuedConnection);
    return false;
}

void SampleDialog::browse()
{
    const QString chosen = QFileDialog::getOpenFileName(this, QStringLiteral("Select Sample Video"),
                                                        {}, sampleFilter());
    if (!chosen.isEmpty())
        pathEdit->setText(QDir::toNativeSeparators(chosen));
}

void SampleDialog::acceptPath()
{
    if (!samplePath().isEmpty())
        accept();
}
