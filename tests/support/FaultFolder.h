#pragma once

#include "service/RepairRequest.h"
#include "tests/support/SystemState.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/**
 * A service installation of its own in a temporary folder, whose executable is the fault service,
 * with directories for requests beside it.
 */
class FaultFolder
{
public:
    /** @param script lines for the fault service */
    explicit FaultFolder(const QStringList &script = {});

    void setScript(const QStringList &script) const;

    /** Lets all services go on that obey "waitFile go". */
    void release() const;

    /** Path of something below the temporary folder. */
    QString path(const QString &relative) const;

    QString serviceRoot() const;
    QString serviceExe() const;

    /**
     * A request with service root and directories set, and more time for the answer than one that
     * comes needs on a busy machine. Who waits for none shortens it.
     */
    RepairRequest request() const;

    /**
     * Has a client find the installation at `place`, which is not there yet, until takeBack():
     * where links are for everybody by one, else the installation goes there.
     */
    bool placeAt(const QString &place) const;

    bool takeBack() const;

    /** What the service wrote down of its start with this token, line by line. */
    QStringList startRecord(const QString &token) const;

    /** The service, obeying "noteTerminate", was asked to end. */
    bool wasAskedToEnd(const QString &token) const;

    /** Process ids of all that services, obeying "spawn", have started. */
    QList<qint64> spawned() const;

    /** How many services have been started. */
    int startCount() const;

    /**
     * Waits until no process of this installation, no pipe's name and no file that does not
     * belong there is left. Returns what is, after some seconds; empty when all is gone.
     */
    QStringList leftovers() const;

private:
    QStringList findLeftovers() const;
    QStringList tokens() const;

    QTemporaryDir directory;
    mutable QString place;
};

/** Writes a file and the folders above it. */
void writeFile(const QString &path, const QByteArray &content = {});

/** The whole content of a file; empty when it cannot be read. */
QByteArray readFile(const QString &path);

/** Names of everything in a folder, hidden and special files included. */
QStringList entriesOf(const QString &folder);
