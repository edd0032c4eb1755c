#pragma once

#include "metadata/ParameterComparison.h"

#include <QDialog>

class QGridLayout;

/**
 * Shows a damaged video's parameters beside its sample's, those red in which the sample differs.
 * Accepted when the user wants the repair.
 */
class ComparisonDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ComparisonDialog(const QList<ComparisonRow> &rows, QWidget *parent = nullptr);

private:
    static QGridLayout *makeTable(const QList<ComparisonRow> &rows);
};
