#include "tests/support/Modals.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>

namespace {

constexpr int pollMs = 10;

}

Modals::Modals()
{
    connect(&poll, &QTimer::timeout, this, &Modals::look);
    poll.start(pollMs);
}

void Modals::expect(Answer answer)
{
    answers.append(std::move(answer));
}

void Modals::expectWarning(const QString &title, const QString &text)
{
    expectMessage(QMessageBox::Warning, title, text);
}

void Modals::expectInformation(const QString &title, const QString &text)
{
    expectMessage(QMessageBox::Information, title, text);
}

void Modals::expectMessage(QMessageBox::Icon icon, const QString &title, const QString &text)
{
    expect([this, icon, title, text](QDialog *dialog) {
        const auto *box = qobject_cast<QMessageBox *>(dialog);
        if (box == nullptr || box->windowTitle() != title || box->text() != text ||
            box->icon() != icon || box->standardButtons() != QMessageBox::Ok)
            wrong.append(QStringLiteral("not \"%1: %2\" but \"%3: %4\"")
                             .arg(title, text, dialog->windowTitle(),
                                  box != nullptr ? box->text() : QStringLiteral("no message")));
        dialog->accept();
    });
}

void Modals::expectFileDialog(const QString &title, const QStringList &paths)
{
    expect([this, title, paths](QDialog *dialog) {
        auto *files = qobject_cast<QFileDialog *>(dialog);
        if (files == nullptr || files->windowTitle() != title) {
            wrong.append(QStringLiteral("not the file dialog \"%1\" but \"%2\"")
                             .arg(title, dialog->windowTitle()));
            dialog->reject();
            return;
        }
        if (paths.isEmpty()) {
            files->reject();
            return;
        }
        QStringList quoted;
        for (const QString &path : paths)
            quoted.append(paths.size() > 1 ? QLatin1Char('"') + path + QLatin1Char('"') : path);
        files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))
            ->setText(quoted.join(QLatin1Char(' ')));
        // As the button does it: the dialog checks and takes what was typed. Later, since it may
        // ask whether a file is to be replaced, which is to be met as well.
        QMetaObject::invokeMethod(files, "accept", Qt::QueuedConnection);
    });
}

QStringList Modals::problems() const
{
    QStringList all = wrong;
    if (!answers.isEmpty())
        all.append(QStringLiteral("%1 expected dialogs have not come").arg(answers.size()));
    return all;
}

void Modals::look()
{
    auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
    if (dialog == nullptr || !dialog->isVisible() || seen.contains(dialog))
        return;
    seen.append(dialog);
    connect(dialog, &QObject::destroyed, this, [this, dialog] { seen.removeAll(dialog); });
    met.append(dialog->windowTitle());
    if (answers.isEmpty()) {
        wrong.append(QStringLiteral("unexpected dialog \"%1\"").arg(dialog->windowTitle()));
        dialog->reject();
        return;
    }
    answers.takeFirst()(dialog);
}
