#pragma once

#include "service/RepairResponse.h"

#include <QString>
#include <QStringList>

/** How the repair of one item went; made by the run's worker for the window. */
struct ItemResult
{
    RepairResponse response;
    /** What the repair has written. */
    QStringList outputs;
    /** The service reports success, and there are outputs. */
    bool succeeded = false;
    /** The repair used the sample. */
    bool advanced = false;
    QString damagedFile;
    QString plannedOutput;
    /** Place in the run's queue, from 0. */
    int index = 0;
    /** Length of the run's queue. */
    int count = 0;
};
