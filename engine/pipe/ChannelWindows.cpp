#include "engine/pipe/Channel.h"
#include "engine/pipe/PipeSecurity.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr DWORD stalledSendMs = 10000;
constexpr DWORD helloTimeoutMs = 1000;
constexpr DWORD bufferSize = 256U * 1024;
constexpr std::size_t sendPiece = 64U * 1024;

// A one-way pipe would tell a writer nothing of its reader's end.
// So both ends may do both, and a client's first byte says which way it will use the pipe.
constexpr std::uint8_t helloReader = 'R';
constexpr std::uint8_t helloWriter = 'W';

std::wstring pipePath(const std::string &name)
{
    const int size = static_cast<int>(name.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, name.c_str(), size, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, name.c_str(), size, wide.data(), static_cast<int>(wide.size()));
    return LR"(\\.\pipe\)" + wide;
}

DWORD remainingMs(Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<DWORD>(std::max<decltype(left)>(left, 0));
}

/** One operation on a pipe that goes on by itself. To be over before it is destroyed. */
class Operation
{
public:
    enum class State { Idle, Pending, Done, Failed };

    Operation() { overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    ~Operation() { CloseHandle(overlapped.hEvent); }
    Operation(const Operation &) = delete;
    Operation &operator=(const Operation &) = delete;

    OVERLAPPED *begin()
    {
        ResetEvent(overlapped.hEvent);
        state = State::Pending;
        return &overlapped;
    }

    /** After the call that began it: `result` as the system gave it. */
    void began(BOOL result)
    {
        if (result == 0 && GetLastError() != ERROR_IO_PENDING)
            fail(GetLastError());
    }

    void fail(DWORD code)
    {
        error = code;
        state = State::Failed;
    }

    void succeed() { state = State::Done; }

    /** Looks, for so long at most, whether it is over. */
    State await(HANDLE pipe, DWORD timeoutMs)
    {
        if (state == State::Pending &&
            WaitForSingleObject(overlapped.hEvent, timeoutMs) == WAIT_OBJECT_0)
            settle(pipe);
        return state;
    }

    /** Gives it up if it is not over, and waits until it is. */
    void cancel(HANDLE pipe)
    {
        if (state != State::Pending)
            return;
        CancelIoEx(pipe, &overlapped);
        settle(pipe);
    }

    void reset() { state = State::Idle; }

    State state = State::Idle;
    DWORD error = ERROR_SUCCESS;
    /** Bytes that went over, when it is over. */
    DWORD transferred = 0;

private:
    void settle(HANDLE pipe)
    {
        transferred = 0;
        if (GetOverlappedResult(pipe, &overlapped, &transferred, TRUE) != 0)
            state = State::Done;
        else
            fail(GetLastError());
    }

    OVERLAPPED overlapped = {};
};

class WindowsChannel final : public Channel
{
public:
    WindowsChannel(const std::string &name, Direction pipeDirection)
        : path(pipePath(name)), direction(pipeDirection)
    {
    }

    ~WindowsChannel() override { close(); }

    WindowsChannel(const WindowsChannel &) = delete;
    WindowsChannel &operator=(const WindowsChannel &) = delete;

    CommunicationCode connect() override
    {
        if (pipe != INVALID_HANDLE_VALUE)
            return CommunicationBadHandle;
        // Whoever serves the name learns who we are and cannot act in our place.
        pipe = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                           nullptr);
        if (pipe == INVALID_HANDLE_VALUE)
            return GetLastError() == ERROR_ACCESS_DENIED ? CommunicationRefused
                                                         : CommunicationNoSuchPipe;
        if (!PipeSecurity::isOwnUsers(pipe)) {
            close();
            return CommunicationRefused;
        }
        isConnected = true;
        const std::uint8_t hello = direction == Direction::Read ? helloReader : helloWriter;
        if (send(&hello, 1) != 1) {
            close();
            return CommunicationNoSuchPipe;
        }
        return CommunicationOk;
    }

    CommunicationCode create() override
    {
        if (pipe != INVALID_HANDLE_VALUE)
            return CommunicationBadHandle;
        const PipeSecurity security;
        if (!security.isUsable())
            return CommunicationSystemError;
        pipe = CreateNamedPipeW(
            path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
            bufferSize, bufferSize, 0, security.attributes());
        if (pipe != INVALID_HANDLE_VALUE)
            return CommunicationOk;
        const DWORD error = GetLastError();
        return error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY ? CommunicationNameInUse
                                                                        : CommunicationSystemError;
    }

    CommunicationCode accept(std::uint32_t timeoutMs) override
    {
        if (pipe == INVALID_HANDLE_VALUE || isConnected)
            return CommunicationBadHandle;
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        do {
            if (!awaitClient(remainingMs(deadline)))
                continue;
            isConnected = true;
            if (saysHello())
                return CommunicationOk;
            dropClient();
        } while (Clock::now() < deadline);
        return CommunicationTimeout;
    }

    std::size_t send(const std::uint8_t *bytes, std::size_t size) override
    {
        std::size_t sent = 0;
        while (isConnected && sent < size) {
            // In pieces: what counts as progress is that the peer takes one.
            const auto piece = static_cast<DWORD>(std::min(size - sent, sendPiece));
            Operation writing;
            OVERLAPPED *overlapped = writing.begin();
            writing.began(WriteFile(pipe, bytes + sent, piece, nullptr, overlapped));
            if (writing.await(pipe, stalledSendMs) == Operation::State::Pending)
                writing.cancel(pipe);
            sent += writing.transferred;
            if (writing.state != Operation::State::Done || writing.transferred == 0)
                break;
        }
        return sent;
    }

    void receive(std::vector<std::uint8_t> &bytes) override
    {
        while (hasArrived(0)) {
            bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + reading.transferred);
            reading.reset();
        }
    }

    CommunicationEvent wait(std::uint32_t timeoutMs) override
    {
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (isConnected) {
            if (hasArrived(remainingMs(deadline)))
                return CommunicationReadable;
            if (reading.state == Operation::State::Failed)
                break;
            if (Clock::now() >= deadline)
                return CommunicationNothing;
        }
        return CommunicationPeerGone;
    }

private:
    /** Looks, for so long at most, for a client. */
    bool awaitClient(DWORD timeoutMs)
    {
        if (listening.state == Operation::State::Idle) {
            const BOOL result = ConnectNamedPipe(pipe, listening.begin());
            const DWORD error = result == 0 ? GetLastError() : ERROR_SUCCESS;
            // The client may have come before it was waited for, and even have gone again: what it
            // said can be read all the same.
            if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA)
                listening.succeed();
            else
                listening.began(result);
        }
        const Operation::State state = listening.await(pipe, timeoutMs);
        if (state == Operation::State::Pending)
            return false;
        listening.reset();
        if (state == Operation::State::Done)
            return true;
        // At the end of the thread that has begun to wait, the system gives the wait up, and that
        // alone. After anything else the pipe is made ready for the next client.
        if (listening.error != ERROR_OPERATION_ABORTED)
            DisconnectNamedPipe(pipe);
        return false;
    }

    /** The client wants the other direction than this end, and says so soon. */
    bool saysHello()
    {
        if (!hasArrived(helloTimeoutMs) || reading.transferred == 0)
            return false;
        const bool isRight =
            chunk.front() == (direction == Direction::Read ? helloWriter : helloReader);
        std::copy(chunk.begin() + 1, chunk.begin() + reading.transferred, chunk.begin());
        if (--reading.transferred == 0)
            reading.reset();
        return isRight;
    }

    void dropClient()
    {
        reading.cancel(pipe);
        reading.reset();
        isConnected = false;
        DisconnectNamedPipe(pipe);
    }

    /**
     * There is a read of the stream at any time, so that nothing ever waits to be asked for.
     * Returns whether it has ended with bytes; they then stand in `chunk`.
     */
    bool hasArrived(DWORD timeoutMs)
    {
        if (!isConnected)
            return false;
        if (reading.state == Operation::State::Failed && reading.error == ERROR_OPERATION_ABORTED)
            reading.reset(); // with the thread that began it
        if (reading.state == Operation::State::Idle) {
            OVERLAPPED *overlapped = reading.begin();
            reading.began(ReadFile(pipe, chunk.data(), static_cast<DWORD>(chunk.size()), nullptr,
                                   overlapped));
        }
        return reading.await(pipe, timeoutMs) == Operation::State::Done;
    }

    void close()
    {
        if (pipe == INVALID_HANDLE_VALUE)
            return;
        reading.cancel(pipe);
        listening.cancel(pipe);
        CloseHandle(std::exchange(pipe, INVALID_HANDLE_VALUE));
        isConnected = false;
    }

    std::wstring path;
    Direction direction;
    HANDLE pipe = INVALID_HANDLE_VALUE;
    bool isConnected = false;
    Operation listening;
    Operation reading;
    std::array<std::uint8_t, sendPiece> chunk = {};
};

} // namespace

std::unique_ptr<Channel> makeChannel(const std::string &name, Direction direction)
{
    return std::make_unique<WindowsChannel>(name, direction);
}
