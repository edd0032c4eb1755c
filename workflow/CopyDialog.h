#pragma once

#include "workflow/FileCopy.h"

class QWidget;
class Workers;

/** What became of a number of copies. */
struct CopyOutcome
{
    /** How many were made whole. */
    int copied = 0;
    /** The user stopped the others. */
    bool isCancelled = false;
};

/**
 * Makes copies on a worker and returns when it is done, with the interface alive. The user sees
 * nothing of a short wait; of a longer one, a modal dialog that tells how far it has come and can
 * be cancelled. When the program is closed meanwhile, the copies are given up.
 */
CopyOutcome copyWithProgress(QWidget *parent, Workers &workers, const QList<FileCopy> &copies);
