#include "engine/pipe/Channel.h"
#include "engine/pipe/NameGuard.h"
#include "engine/pipe/SocketFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int stalledSendMs = 10000;
constexpr int helloTimeoutMs = 1000;
constexpr int backlog = 64;

// A client's first byte says which way it will use the pipe. Connections without it are none:
// they come from looking whether a name is alive.
constexpr char helloReader = 'R';
constexpr char helloWriter = 'W';

int remainingMs(Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

/** poll() on one descriptor, gone on with after signals. Returns the events, 0 at time-out. */
short pollFor(int fd, short events, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd entry = {.fd = fd, .events = events, .revents = 0};
    for (;;) {
        const int count = poll(&entry, 1, remainingMs(deadline));
        if (count > 0)
            return entry.revents;
        if (count == 0 || errno != EINTR)
            return 0;
    }
}

bool isOwnUser(int fd)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

FileDescriptor newSocket()
{
    return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

class UnixChannel final : public Channel
{
public:
    UnixChannel(std::string pipeName, Direction pipeDirection)
        : name(std::move(pipeName)), direction(pipeDirection)
    {
    }

    ~UnixChannel() override { removeName(); }

    UnixChannel(const UnixChannel &) = delete;
    UnixChannel &operator=(const UnixChannel &) = delete;

    CommunicationCode connect() override
    {
        if (stream || listener)
            return CommunicationBadHandle;
        const SocketFolder folder;
        if (!folder.isUsable())
            return CommunicationNoSuchPipe;
        FileDescriptor fd = newSocket();
        if (!fd)
            return CommunicationSystemError;
        const sockaddr_un target = folder.address(name);
        if (::connect(fd.get(), reinterpret_cast<const sockaddr *>(&target), sizeof target) != 0)
            return CommunicationNoSuchPipe;
        if (!isOwnUser(fd.get()))
            return CommunicationRefused;
        const char hello = direction == Direction::Read ? helloReader : helloWriter;
        if (::send(fd.get(), &hello, 1, MSG_NOSIGNAL) != 1)
            return CommunicationNoSuchPipe;
        stream = std::move(fd);
        return CommunicationOk;
    }

    CommunicationCode create() override
    {
        const SocketFolder folder(SocketFolder::Missing::Create);
        if (!folder.isUsable())
            return CommunicationRefused;
        folder.removeStaleNames();
        FileDescriptor fd = newSocket();
        if (!fd)
            return CommunicationSystemError;
        const SocketFolder::Lock lock(folder);
        auto guard = std::make_unique<NameGuard>(folder, name);
        const sockaddr_un target = folder.address(name);
        if (!guard->isUp())
            return CommunicationSystemError;
        if (bind(fd.get(), reinterpret_cast<const sockaddr *>(&target), sizeof target) != 0)
            return errno == EADDRINUSE ? CommunicationNameInUse : CommunicationSystemError;
        nameGuard = std::move(guard);
        listener = std::move(fd);
        if (listen(listener.get(), backlog) != 0) {
            removeName();
            return CommunicationSystemError;
        }
        return CommunicationOk;
    }

    CommunicationCode accept(std::uint32_t timeoutMs) override
    {
        if (!listener)
            return CommunicationBadHandle;
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (pollFor(listener.get(), POLLIN, remainingMs(deadline)) != 0) {
            FileDescriptor fd(
                accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (!fd || !isOwnUser(fd.get()) || !saysHello(fd.get()))
                continue;
            stream = std::move(fd);
            removeName();
            return CommunicationOk;
        }
        return CommunicationTimeout;
    }

    std::size_t send(const std::uint8_t *bytes, std::size_t size) override
    {
        std::size_t sent = 0;
        while (stream && sent < size) {
            const ssize_t count = ::send(stream.get(), bytes + sent, size - sent, MSG_NOSIGNAL);
            if (count > 0)
                sent += static_cast<std::size_t>(count);
            else if (!canSendAgain())
                break;
        }
        return sent;
    }

    void receive(std::vector<std::uint8_t> &bytes) override
    {
        std::array<std::uint8_t, 65536> chunk;
        while (stream) {
            const ssize_t count = recv(stream.get(), chunk.data(), chunk.size(), 0);
            if (count > 0)
                bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + count);
            else if (count == 0 || errno != EINTR)
                break;
        }
    }

    CommunicationEvent wait(std::uint32_t timeoutMs) override
    {
        if (!stream)
            return CommunicationPeerGone;
        const short events = pollFor(stream.get(), POLLIN, static_cast<int>(timeoutMs));
        if (events == 0)
            return CommunicationNothing;
        char next = 0;
        return recv(stream.get(), &next, 1, MSG_PEEK) > 0 ? CommunicationReadable
                                                          : CommunicationPeerGone;
    }

private:
    /** Takes a name of this end's own out of the world. */
    void removeName()
    {
        if (!listener)
            return;
        SocketFolder().removeName(name.c_str());
        listener.reset();
        nameGuard.reset();
    }

    /** After a send that failed: waits for room if that is all that is wanting. */
    bool canSendAgain() const
    {
        return errno == EINTR ||
               (errno == EAGAIN && pollFor(stream.get(), POLLOUT, stalledSendMs) != 0);
    }

    /** The client wants the other direction than this end, and says so soon. */
    bool saysHello(int fd) const
    {
        char hello = 0;
        return pollFor(fd, POLLIN, helloTimeoutMs) != 0 && recv(fd, &hello, 1, 0) == 1 &&
               hello == (direction == Direction::Read ? helloWriter : helloReader);
    }

    std::string name;
    Direction direction;
    std::unique_ptr<NameGuard> nameGuard;
    FileDescriptor listener;
    FileDescriptor stream;
};

} // namespace

std::unique_ptr<Channel> makeChannel(const std::string &name, Direction direction)
{
    return std::make_unique<UnixChannel>(name, direction);
}
