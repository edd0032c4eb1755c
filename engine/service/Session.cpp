#include "engine/service/Session.h"

#include "engine/log/LogLine.h"
#include "engine/media/AsideFile.h"
#include "engine/service/ProcessWatch.h"
#include "engine/service/RequestHandler.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// A client tries each pipe for ten seconds.
constexpr auto clientTimeout = std::chrono::seconds(30);
// How soon a wish to stop is noticed while nothing is being worked on.
constexpr std::uint32_t sliceMs = 50;
constexpr std::uint32_t forever = std::numeric_limits<int>::max();
constexpr std::size_t longestRequest = std::size_t{1} << 20U;

TarnPipeRecord pipeRecord(const std::string &name, bool isRead)
{
    TarnPipeRecord record{};
    std::strncpy(record.serverName, name.c_str(), sizeof record.serverName - 1);
    record.isRead = isRead ? 1 : 0;
    record.value1159 = 10;
    return record;
}

/** A copy: nothing can be bound to a field of the packed record. */
std::int32_t idOf(const TarnPipeRecord &record)
{
    return record.id;
}

} // namespace

Session::Session(const ServiceArguments &arguments)
    : returnPipe(pipeRecord(arguments.returnPipe, false)),
      receivePipe(pipeRecord(arguments.receivePipe, true))
{
}

void Session::run()
{
    if (!createPipes())
        end(ExitCode::NoClient);
    std::thread([this] { watchProcesses(); }).detach();
    std::string line;
    if (!acceptClient() || !readRequest(line))
        end(stopWanted ? ExitCode::Abandoned : ExitCode::NoClient);

    phase = Phase::Working;
    if (stopWanted)
        end(ExitCode::Abandoned);
    std::thread([this] { watchClientPipe(); }).detach();
    logLine(TarnLogInfo, "request " + line);
    const std::string answer = handleRequest(line);

    // From here on the client may take the answer and leave at any moment.
    phase = Phase::Answered;
    writeAnswer(answer);
    // The thread that waits for the client to hang up ends the process.
    for (;;)
        std::this_thread::sleep_for(std::chrono::hours(1));
}

bool Session::createPipes()
{
    for (TarnPipeRecord *pipe : {&returnPipe, &receivePipe}) {
        if (const std::int32_t code = tarn_comm_create(pipe); code != CommunicationOk) {
            logLine(TarnLogError, std::string("cannot create the pipe ") + pipe->serverName +
                                      ", code " + std::to_string(code));
            return false;
        }
    }
    return true;
}

bool Session::acceptOn(const TarnPipeRecord &pipe)
{
    const std::int32_t id = idOf(pipe);
    const auto deadline = Clock::now() + clientTimeout;
    while (!stopWanted && Clock::now() < deadline) {
        if (tarn_comm_accept(&id, sliceMs) == CommunicationOk)
            return true;
    }
    logLine(TarnLogWarn, std::string("no client on the pipe ") + pipe.serverName);
    return false;
}

bool Session::acceptClient()
{
    return acceptOn(returnPipe) && acceptOn(receivePipe);
}

bool Session::readRequest(std::string &line)
{
    std::vector<char> buffer(longestRequest);
    const std::int32_t id = idOf(receivePipe);
    const auto deadline = Clock::now() + clientTimeout;
    while (!stopWanted && Clock::now() < deadline) {
        const std::int32_t size =
            tarn_comm_read(&id, buffer.data(), static_cast<std::uint32_t>(buffer.size()), 0);
        if (size > 0) {
            line.assign(buffer.data(), static_cast<std::size_t>(size));
            while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
                line.pop_back();
            return true;
        }
        if (size < 0 || tarn_comm_wait(&id, sliceMs) == CommunicationPeerGone)
            break;
    }
    logLine(TarnLogWarn, "no request has come");
    return false;
}

void Session::writeAnswer(const std::string &answer)
{
    const std::int32_t id = idOf(returnPipe);
    const auto size = static_cast<std::uint32_t>(answer.size());
    if (tarn_comm_write(&id, answer.data(), size, 1) != static_cast<std::int32_t>(size))
        logLine(TarnLogWarn, "the answer could not be written whole");
}

void Session::watchProcesses()
{
    endBecause(ProcessWatch::waitForEnd());
}

void Session::watchClientPipe()
{
    const std::int32_t id = idOf(receivePipe);
    std::array<char, 256> ignored = {};
    // The client says nothing more: a reader's end that it closes is all that can happen.
    while (tarn_comm_wait(&id, forever) != CommunicationPeerGone)
        tarn_comm_read(&id, ignored.data(), static_cast<std::uint32_t>(ignored.size()), 0);
    endBecause("the client has hung up");
}

void Session::endBecause(const char *reason)
{
    stopWanted = true;
    switch (phase.load()) {
    case Phase::Connecting:
        // The main thread sees the wish within a slice and takes the pipes' names back.
        return;
    case Phase::Working:
        logLine(TarnLogWarn, std::string("request abandoned: ") + reason);
        end(ExitCode::Abandoned);
    case Phase::Answered:
        end(ExitCode::Done);
    }
}

void Session::end(ExitCode code)
{
    AsideFile::removeAllForEnd();
    for (const TarnPipeRecord &pipe : {returnPipe, receivePipe}) {
        const std::int32_t id = idOf(pipe);
        close_communication_sdk(&id);
    }
    // Not exit(): another thread may be in the middle of the work, with nothing left to save.
    std::_Exit(static_cast<int>(code));
}
