#pragma once

#include <QDialog>

/**
 * Tells that a run failed. Accepted when the user wants an advanced repair, which is offered after
 * a quick one only.
 */
class RepairFailedDialog : public QDialog
{
    Q_OBJECT

public:
    /** @param advanced the run that failed was an advanced one */
    explicit RepairFailedDialog(bool advanced, QWidget *parent = nullptr);
};
