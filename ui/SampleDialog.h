#pragma once

#include <QDialog>
#include <QString>

class DropLineEdit;

/**
 * Asks for the sample video of an advanced repair: typed, dropped or chosen. Can be accepted only
 * with something in its field, which need not exist.
 */
class SampleDialog : public QDialog
{
    Q_OBJECT

public:
    /** @param samplePath what the field holds at first */
    explicit SampleDialog(const QString &samplePath, QWidget *parent = nullptr);

    /** What the field holds, without white space around it. */
    QString samplePath() const;

protected:
    /** Watches for clicks on the field. */
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void browse();
    void acceptPath();

    DropLineEdit *pathEdit;
    /** A mouse button went down on it and has not come up yet. */
    bool isFieldPressed = false;
};
