#pragma once

#include "engine/pipe/SocketFolder.h"

#include <sys/types.h>

#include <string>

/**
 * Keeps a name in the folder of the pipes from outliving its creator. A socket's name is a file,
 * and the system removes none when a process is killed. So a child process watches: it does
 * nothing but wait for its parent to end, by whatever cause, and then removes the name.
 *
 * The guard is set up before the name is made and lives until its owner has removed the name.
 */
class NameGuard
{
public:
    NameGuard(const SocketFolder &folder, const std::string &name);

    /** Ends the child; the name stays as it is. */
    ~NameGuard();

    NameGuard(const NameGuard &) = delete;
    NameGuard &operator=(const NameGuard &) = delete;

    /** The child is there. */
    bool isUp() const { return child > 0; }

private:
    FileDescriptor lifeline;
    pid_t child = -1;
};
