#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/** What tests ask the system, and do with it, that each system has a way of its own for. */

/** There is a process of this id, and it is more than an entry waiting to be reaped. */
bool isRunning(qint64 pid);

/** Ids of the running processes of this executable whose command line holds `argument`. */
QList<qint64> processesOf(const QString &executable, const QString &argument = {});

/**
 * Names of the pipes that there are: of all in the test's own folder, or, where all of the
 * machine's share one, of the services with these tokens.
 */
QStringList pipeNames(const QStringList &tokens);

/** Somebody serves, or is in the middle of using, a pipe of this name. */
bool pipeExists(const QString &name);

/** The system's id of the calling thread. */
quint64 currentThreadId();

/**
 * Has a folder be found under another path as well: by a link, or where those are not for
 * everybody as a copy. To be taken away by removePlaced().
 */
bool placeFolder(const QString &folder, const QString &place);

/** Undoes placeFolder(); the folder itself stays. */
void removePlaced(const QString &place);

/** The file name of a program. */
QString programName(const QString &name);

/** The name, less what no file of this system may bear in its own. */
QString possibleName(const QString &name);
