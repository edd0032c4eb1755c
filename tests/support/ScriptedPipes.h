#pragma once

#include "service/PipeLibrary.h"

#include <algorithm>
#include <optional>
#include <vector>

/** The real pipe library, made to fail on command. For one call at a time. */
class ScriptedPipes final : public PipeOperations
{
public:
    /** The first so many calls of init, or of connect, return the code and do nothing. */
    int failingInits = 0;
    int failingConnects = 0;
    std::int32_t failureCode = 0;
    /** What write, or read, returns in place of doing its work. */
    std::optional<std::int32_t> writeResult;
    std::optional<std::int32_t> readResult;

    /** Calls so far. */
    int inits = 0;
    int connects = 0;
    int reads = 0;
    int closes = 0;
    /** Connections that were made, and the records that they were made with. */
    int connected = 0;
    std::vector<CommunicationCommonField_t> records;
    /** Every read was given a clean buffer of the full size. */
    bool buffersAreClean = true;

    std::int32_t init(CommunicationCommonField_t &record) override
    {
        return ++inits <= failingInits ? failureCode : PipeLibrary::instance().init(record);
    }

    std::int32_t connect(CommunicationCommonField_t &record) override
    {
        if (++connects <= failingConnects)
            return failureCode;
        const std::int32_t code = PipeLibrary::instance().connect(record);
        if (code == 0) {
            ++connected;
            records.push_back(record);
        }
        return code;
    }

    std::int32_t write(CommunicationCommonField_t &record, const char *bytes,
                       std::uint32_t size) override
    {
        return writeResult ? *writeResult : PipeLibrary::instance().write(record, bytes, size);
    }

    std::int32_t read(CommunicationCommonField_t &record, char *buffer,
                      std::uint32_t capacity) override
    {
        ++reads;
        buffersAreClean = buffersAreClean && capacity == 262143 &&
                          std::all_of(buffer, buffer + capacity + 1, [](char c) { return c == 0; });
        const std::int32_t size =
            readResult ? *readResult : PipeLibrary::instance().read(record, buffer, capacity);
        // What a library leaves there when it has nothing to tell is its own affair.
        if (size == 0)
            std::fill(buffer, buffer + capacity, 'x');
        return size;
    }

    void close(CommunicationCommonField_t &record) override
    {
        ++closes;
        PipeLibrary::instance().close(record);
    }
};
