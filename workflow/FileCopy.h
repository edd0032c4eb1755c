#pragma once

#include <QList>
#include <QString>

#include <mutex>

/** One file to be copied. */
struct FileCopy
{
    QString source;
    QString target;
};

/** How far a number of copies has come. Shared by who makes them and who shows it; any thread. */
class CopyProgress
{
public:
    struct State
    {
        /** Target of the copy under way. */
        QString target;
        /** Bytes that are copied, and bytes in all, over all files. */
        qint64 done = 0;
        qint64 total = 0;
        /** Files that are copied whole. */
        int copied = 0;
    };

    State state() const;

    /** Asks for no further copy, and for the one under way to be given up. */
    void cancel();
    bool isCancelled() const;

    void setTotal(qint64 bytes);
    void begin(const QString &target);
    void advance(qint64 bytes);
    /** @param doneBytes of all files up to this one, whether or not it could be copied */
    void finishOne(qint64 doneBytes, bool isCopied);

private:
    mutable std::mutex mutex;
    State current;
    bool cancelled = false;
};

/**
 * Makes the copies one after another. What stands at a target is removed first; a copy that fails
 * or is cancelled leaves nothing there, and does not keep the others from being made. A file that
 * is to be copied onto itself stays as it is and counts. Blocks: to be called from a worker.
 *
 * Returns how many were made whole.
 */
int copyFiles(const QList<FileCopy> &copies, CopyProgress &progress);
