// A repair service that misbehaves on command: it obeys the lines of the file "fault.txt" in its
// working directory, one after another, and ends after the last with code 0.
//
//   create return|receive   makes the pipe
//   accept return|receive   waits for the client on it
//   read                    takes the request
//   serve                   all of these in the order of a good service
//   answer TEXT             sends the text as one message; \n, \xHH and \\ are escapes
//   answerEmpty             sends a message of no bytes
//   answerSize N            sends an object of exactly N bytes
//   echo                    sends the request back in "request", and the token in "token"
//   output KEY TEXT         writes the text to the file that the request names under the key
//   when KEY PART: LINE     obeys the line when the request's value under the key, a number or a
//                           text, is PART or has it in it
//   companion KEY TEXT      as output, to a file beside that one with "_2" behind its base name
//   sleep MS                waits
//   waitFile NAME           waits until there is a file of that name in the working directory
//   await                   waits until the client has hung up
//   forever                 waits without end
//   noteTerminate           when asked to end, writes "asked-TOKEN.txt" and ends
//   ignoreTerminate         takes no notice of being asked to end from here on
//   spawn                   starts a child process that has a child, and both stay; their ids go
//                           to "children-TOKEN.txt"
//   exit CODE               ends with the code
//   signal N                ends by the signal
//
// What it was started with is written to "started-TOKEN.txt" there, a line each: process id, the
// arguments, working directory, PATH and Path. A line that it does not know ends it with code 99.

#include "engine/Utf8Path.h"
#include "engine/pipe/TarnCommunication.h"
#include "tests/fault/FaultSystem.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

// A test that goes wrong must not leave this process behind.
constexpr unsigned longestLifeSeconds = 120;
constexpr std::uint32_t acceptTimeoutMs = 60000;
constexpr std::uint32_t waitMs = 1000;
constexpr long long fileCheckMs = 5;
constexpr int badScript = 99;

struct Pipe
{
    TarnPipeRecord record{};

    Pipe(const std::string &name, bool isRead)
    {
        std::strncpy(record.serverName, name.c_str(), sizeof record.serverName - 1);
        record.isRead = isRead ? 1 : 0;
    }

    std::int32_t id() const { return record.id; }
};

void sleepMs(long long milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string unescape(const std::string &text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '\\' && i + 1 < text.size()) {
            c = text[++i];
            if (c == 'n') {
                c = '\n';
            } else if (c == 'x') {
                c = static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
                i += 2;
            }
        }
        result += c;
    }
    return result;
}

std::string objectOfSize(std::size_t size)
{
    const std::string head = R"({"err_code":0,"fill":")";
    const std::string tail = R"("})";
    return head + std::string(size - head.size() - tail.size(), 'x') + tail;
}

class Script
{
public:
    explicit Script(const std::string &requestToken)
        : token(requestToken),
          returnPipe("VideoRepairServer_return_" + requestToken, false),
          receivePipe("VideoRepairServer_receive_" + requestToken, true)
    {
    }

    void obey(const std::string &line)
    {
        const std::size_t blank = line.find(' ');
        const std::string verb = line.substr(0, blank);
        const std::string operand = blank != std::string::npos ? line.substr(blank + 1) : "";
        if (!obeyPipeVerb(verb, operand) && !obeyAnswerVerb(verb, operand) &&
            !obeyProcessVerb(verb, operand)) {
            std::cerr << "unknown line: " << line << '\n';
            std::_Exit(badScript);
        }
    }

private:
    bool obeyPipeVerb(const std::string &verb, const std::string &operand)
    {
        require(operand.empty() || operand == "return" || operand == "receive" ||
                    (verb != "create" && verb != "accept"),
                "unknown pipe");
        Pipe &pipe = operand == "return" ? returnPipe : receivePipe;
        if (verb == "create") {
            require(tarn_comm_create(&pipe.record) == CommunicationOk, "create");
        } else if (verb == "accept") {
            const std::int32_t id = pipe.id();
            require(tarn_comm_accept(&id, acceptTimeoutMs) == CommunicationOk, "accept");
        } else if (verb == "read") {
            readRequest();
        } else if (verb == "serve") {
            for (const char *line :
                 {"create return", "create receive", "accept return", "accept receive", "read"})
                obey(line);
        } else {
            return false;
        }
        return true;
    }

    bool obeyAnswerVerb(const std::string &verb, const std::string &operand)
    {
        if (verb == "answer")
            send(unescape(operand));
        else if (verb == "answerEmpty")
            send("");
        else if (verb == "answerSize")
            send(objectOfSize(std::stoul(operand)));
        else if (verb == "echo")
            send(R"({"err_code":0,"token":")" + token + R"(","request":)" + request + "}");
        else if (verb == "output")
            writeOutput(operand, "");
        else if (verb == "companion")
            writeOutput(operand, "_2");
        else if (verb == "when")
            obeyWhen(operand);
        else
            return false;
        return true;
    }

    bool obeyProcessVerb(const std::string &verb, const std::string &operand)
    {
        if (verb == "sleep")
            sleepMs(std::stoll(operand));
        else if (verb == "waitFile")
            while (!std::filesystem::exists(operand))
                sleepMs(fileCheckMs);
        else if (verb == "await")
            awaitHangUp();
        else if (verb == "forever")
            for (;;)
                sleepMs(waitMs);
        else if (verb == "noteTerminate")
            FaultSystem::noteTerminate("asked-" + token + ".txt");
        else if (verb == "ignoreTerminate")
            FaultSystem::ignoreTerminate();
        else if (verb == "spawn")
            spawn();
        else if (verb == "exit")
            std::_Exit(std::stoi(operand));
        else if (verb == "signal")
            FaultSystem::endBySignal(std::stoi(operand));
        else
            return false;
        return true;
    }

    void obeyWhen(const std::string &operand)
    {
        const std::size_t blank = operand.find(' ');
        const std::size_t colon = operand.find(": ", blank);
        require(colon != std::string::npos, "no line");
        const auto object = nlohmann::json::parse(request, nullptr, false);
        const auto value = object.find(operand.substr(0, blank));
        if (value == object.end())
            return;
        const std::string part = operand.substr(blank + 1, colon - blank - 1);
        const auto *text = value->get_ptr<const std::string *>();
        const auto *number = value->get_ptr<const nlohmann::json::number_unsigned_t *>();
        const bool matches = (text != nullptr && text->find(part) != std::string::npos) ||
                             (number != nullptr && std::to_string(*number) == part);
        if (matches)
            obey(operand.substr(colon + 2));
    }

    void writeOutput(const std::string &operand, const std::string &addition)
    {
        const std::size_t blank = operand.find(' ');
        std::string path = requestText(operand.substr(0, blank));
        path.insert(path.rfind('.'), addition);
        std::ofstream(pathFromUtf8(path), std::ios::binary)
            << operand.substr(std::min(blank, operand.size() - 1) + 1);
    }

    /** The text that the request holds under a key. */
    std::string requestText(const std::string &key) const
    {
        const auto object = nlohmann::json::parse(request, nullptr, false);
        const auto value = object.find(key);
        const auto *text = value != object.end() ? value->get_ptr<const std::string *>() : nullptr;
        require(text != nullptr, "no such text in the request");
        return *text;
    }

    void spawn()
    {
        const std::string file = "children-" + token + ".txt";
        require(FaultSystem::spawn(file), "spawn");
        while (!std::filesystem::exists(file))
            sleepMs(fileCheckMs);
    }

    void readRequest()
    {
        std::vector<char> buffer(std::size_t{1} << 20U);
        const std::int32_t id = receivePipe.id();
        std::int32_t size = 0;
        while (size == 0) {
            require(tarn_comm_wait(&id, waitMs) != CommunicationPeerGone, "read");
            size = tarn_comm_read(&id, buffer.data(), static_cast<std::uint32_t>(buffer.size()), 0);
        }
        require(size > 0, "read");
        request.assign(buffer.data(), static_cast<std::size_t>(size));
    }

    void send(const std::string &message)
    {
        const std::int32_t id = returnPipe.id();
        tarn_comm_write(&id, message.data(), static_cast<std::uint32_t>(message.size()), 1);
    }

    void awaitHangUp()
    {
        const std::int32_t id = receivePipe.id();
        char ignored = 0;
        for (;;) {
            const std::int32_t event = tarn_comm_wait(&id, waitMs);
            if (event == CommunicationReadable)
                tarn_comm_read(&id, &ignored, 1, 0);
            else if (event != CommunicationNothing)
                return;
        }
    }

    static void require(bool done, const char *what)
    {
        if (done)
            return;
        std::cerr << "failed: " << what << '\n';
        std::_Exit(badScript);
    }

    std::string token;
    Pipe returnPipe;
    Pipe receivePipe;
    std::string request;
};

const char *variable(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

void recordStart(const std::vector<std::string> &arguments)
{
    std::ofstream file("started-" + arguments.back() + ".txt", std::ios::binary);
    file << FaultSystem::processId() << '\n';
    for (const std::string &argument : arguments)
        file << argument << '\n';
    file << utf8FromPath(std::filesystem::current_path().generic_u8string()) << '\n'
         << variable("PATH") << '\n'
         << variable("Path") << '\n';
}

} // namespace

// An exception ends it with what it says, which is all that a bad script deserves.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char *argv[])
{
    FaultSystem::limitLife(longestLifeSeconds);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty())
        return badScript;
    return FaultSystem::run([&arguments] {
        recordStart(arguments);
        Script script(arguments.back());
        std::ifstream file("fault.txt", std::ios::binary);
        for (std::string line; std::getline(file, line);)
            script.obey(line);
        return 0;
    });
}
