#pragma once

#include <QDialog>
#include <QLineEdit>
#include <QList>
#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>

/**
 * Meets the modal dialogs that a test makes appear. Each is expected, in order; one that is not
 * expected is closed, and told of by unexpected().
 */
class Modals : public QObject
{
    Q_OBJECT

public:
    Modals();

    /** How a dialog is dealt with once it is on the screen. */
    using Answer = std::function<void(QDialog *)>;

    /** The next dialog is to be met with `answer`, which is to close it. */
    void expect(Answer answer);

    /** The next dialog is a warning with this title and text, and is closed with OK. */
    void expectWarning(const QString &title, const QString &text);

    /** The same of a message that is no warning. */
    void expectInformation(const QString &title, const QString &text);

    /** The next dialog is a file dialog of this title; it is given `paths`, or cancelled. */
    void expectFileDialog(const QString &title, const QStringList &paths);

    /** What has gone wrong so far, dialogs that have not come yet included. Empty when all is well.
     */
    QStringList problems() const;

    /** Titles of the dialogs that came, in order. */
    QStringList titles() const { return met; }

private:
    void expectMessage(QMessageBox::Icon icon, const QString &title, const QString &text);
    void look();

    QTimer poll;
    QList<Answer> answers;
    QList<QDialog *> seen;
    QStringList met;
    QStringList wrong;
};
