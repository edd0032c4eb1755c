#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

/** A file descriptor that closes itself. */
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : fd(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept;
    FileDescriptor &operator=(FileDescriptor &&other) noexcept;
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor();

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }
    void reset();

private:
    int fd = -1;
};

/**
 * The folder in which the pipes of one user have their names: "vellumix" below XDG_RUNTIME_DIR
 * when that is a folder of the user's, else "/tmp/vellumix-UID". It is made with mode 0700 and
 * refused when it is not the user's alone.
 *
 * A name is a listening socket. One whose creator has ended refuses connections; that is how it
 * is told from a live one. A name in the making refuses them too: whoever makes names, or removes
 * others' dead ones, holds the folder's lock.
 */
class SocketFolder
{
public:
    enum class Missing { LeaveIt, Create };

    /** Opens the folder. */
    explicit SocketFolder(Missing ifMissing = Missing::LeaveIt);

    /** The folder is there and is the user's alone. */
    bool isUsable() const { return static_cast<bool>(folder); }

    int descriptor() const { return folder.get(); }

    /** Address of a name in this folder, valid while this object lives. */
    sockaddr_un address(const std::string &name) const;

    /** Takes a name out of the world. Safe in a child between fork and exec. */
    void removeName(const char *name) const;

    /** Somebody listens at the name. Safe in a child between fork and exec. */
    static bool isAlive(const sockaddr_un &address);

    /** The name is there and nobody listens any more. Safe in a child between fork and exec. */
    static bool isStale(const sockaddr_un &address);

    /** Removes the names that refuse connections. The lock must not be held by this object. */
    void removeStaleNames() const;

    /** Holds the folder's lock while it lives; other processes and threads wait. */
    class Lock
    {
    public:
        explicit Lock(const SocketFolder &folder);
        ~Lock();
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

    private:
        int fd;
    };

private:
    FileDescriptor folder;
};
