#pragma once

#include <cstdint>

/** Tells the log how far a piece of work has come, every tenth of it. */
class Progress
{
public:
    /** @param what is done, for the log: "copied" */
    Progress(const char *what, std::uint64_t ofTotal) : activity(what), total(ofTotal) {}

    /** @param done so far; steps back are not told */
    void reach(std::uint64_t done);

private:
    const char *activity;
    std::uint64_t total;
    std::uint64_t lastStep = 0;
};
