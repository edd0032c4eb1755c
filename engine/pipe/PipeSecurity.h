#pragma once

#include <windows.h>

/**
 * Who may open a pipe: the user of this process and nobody else, administrators and the system
 * included.
 */
class PipeSecurity
{
public:
    PipeSecurity();
    ~PipeSecurity();
    PipeSecurity(const PipeSecurity &) = delete;
    PipeSecurity &operator=(const PipeSecurity &) = delete;

    /** The system has told who the user is. */
    bool isUsable() const { return descriptor != nullptr; }

    /** For the call that makes the pipe; the handle is not inherited. */
    SECURITY_ATTRIBUTES *attributes() const { return &securityAttributes; }

    /** The pipe, an open end of it, was made by this process's user. */
    static bool isOwnUsers(HANDLE pipe);

private:
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    mutable SECURITY_ATTRIBUTES securityAttributes = {};
};
