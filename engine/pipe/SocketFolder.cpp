#include "engine/pipe/SocketFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

bool isOwnFolder(int fd)
{
    struct stat info = {};
    return fstat(fd, &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid();
}

bool isPrivate(int fd)
{
    struct stat info = {};
    return fstat(fd, &info) == 0 && (info.st_mode & 077U) == 0;
}

/** Tries to connect and leaves at once. Returns 0, or the error. */
int probe(const sockaddr_un &address)
{
    const FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A live creator takes this for a client that left without a word, and waits on.
    const int result =
        ::connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    return result == 0 ? 0 : errno;
}

bool isSocket(int folder, const char *name)
{
    struct stat info = {};
    return fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISSOCK(info.st_mode);
}

FileDescriptor openFolder(const std::string &path)
{
    // NOFOLLOW: in a folder that others may write to, a link could lead anywhere.
    FileDescriptor fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return fd && isOwnFolder(fd.get()) ? std::move(fd) : FileDescriptor();
}

std::string folderPath()
{
    // The environment of a process is fixed before it has threads that look here.
    const char *runtimeDir = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeDir != nullptr && runtimeDir[0] == '/' && openFolder(runtimeDir))
        return std::string(runtimeDir) + "/vellumix";
    return "/tmp/vellumix-" + std::to_string(geteuid());
}

} // namespace

FileDescriptor::FileDescriptor(FileDescriptor &&other) noexcept : fd(std::exchange(other.fd, -1)) {}

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept
{
    if (this != &other) {
        reset();
        fd = std::exchange(other.fd, -1);
    }
    return *this;
}

FileDescriptor::~FileDescriptor()
{
    reset();
}

void FileDescriptor::reset()
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

SocketFolder::SocketFolder(Missing ifMissing)
{
    const std::string path = folderPath();
    if (ifMissing == Missing::Create)
        mkdir(path.c_str(), 0700);
    folder = openFolder(path);
    if (folder && !isPrivate(folder.get()))
        folder.reset();
}

sockaddr_un SocketFolder::address(const std::string &name) const
{
    // By way of the open folder: an address has room for 108 bytes, a folder's path may be longer.
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder.get(),
                  name.c_str());
    return address;
}

void SocketFolder::removeName(const char *name) const
{
    unlinkat(folder.get(), name, 0);
}

bool SocketFolder::isAlive(const sockaddr_un &address)
{
    return probe(address) == 0;
}

bool SocketFolder::isStale(const sockaddr_un &address)
{
    return probe(address) == ECONNREFUSED;
}

void SocketFolder::removeStaleNames() const
{
    const Lock lock(*this);
    const int listing = openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (listing < 0)
        return;
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(fdopendir(listing), closedir);
    while (const dirent *entry = readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (isSocket(folder.get(), name.c_str()) && isStale(address(name)))
            removeName(name.c_str());
    }
}

SocketFolder::Lock::Lock(const SocketFolder &folder) : fd(folder.folder.get())
{
    while (flock(fd, LOCK_EX) != 0 && errno == EINTR) {
    }
}

SocketFolder::Lock::~Lock()
{
    flock(fd, LOCK_UN);
}
