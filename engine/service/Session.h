#pragma once

#include "engine/pipe/TarnCommunication.h"
#include "engine/service/ServiceArguments.h"

#include <atomic>
#include <string>

/** How the service process ends. */
enum class ExitCode : int {
    /** The answer was taken, or its client left after it was written. */
    Done = 0,
    /** The client, or the system, gave up before there was an answer. */
    Abandoned = 3,
    /** The pipes could not be made, or no client came. */
    NoClient = 4,
    /** Started with other arguments than a client gives. */
    Usage = 64,
};

/**
 * The exchange of one request: makes both pipes, takes the request, answers, and stays until the
 * client has taken the answer or is gone. The process serves one session in its life and never
 * outlives its client: when that ends or hangs up in the middle of the work, the process ends at
 * once and takes its unfinished files with it.
 */
class Session
{
public:
    explicit Session(const ServiceArguments &arguments);

    /** Ends the process, from here or from a watching thread. */
    [[noreturn]] void run();

private:
    enum class Phase { Connecting, Working, Answered };

    bool createPipes();
    bool acceptClient();
    bool acceptOn(const TarnPipeRecord &pipe);
    bool readRequest(std::string &line);
    void writeAnswer(const std::string &answer);
    void watchProcesses();
    void watchClientPipe();
    void endBecause(const char *reason);
    [[noreturn]] void end(ExitCode code);

    TarnPipeRecord returnPipe;
    TarnPipeRecord receivePipe;
    std::atomic<Phase> phase{Phase::Connecting};
    std::atomic<bool> stopWanted{false};
};
