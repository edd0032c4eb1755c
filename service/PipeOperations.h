#pragma once

#include "service/CommunicationRecord.h"

#include <cstdint>

/**
 * The five operations that the client needs of a pipe library. Codes are the library's own; 0 is
 * success. Calls on different records may come from different threads at once.
 */
class PipeOperations
{
public:
    virtual ~PipeOperations() = default;

    /** Prepares the pipe end that the record describes and sets its `id`. Returns 0 or a code. */
    virtual std::int32_t init(CommunicationCommonField_t &record) = 0;

    /** Returns 0 when the pipe is connected to its peer, else a code. */
    virtual std::int32_t connect(CommunicationCommonField_t &record) = 0;

    /**
     * Writes `size` bytes as one message. Returns the number of bytes written. */
    virtual std::int32_t write(CommunicationCommonField_t &record, const char *bytes,
                               std::uint32_t size) = 0;

    /**
     * Reads one message into `buffer`. Returns the number of bytes read, 0 when nothing has
     * arrived yet; what a negative number means is the library's. Does not wait.
     */
    virtual std::int32_t read(CommunicationCommonField_t &record, char *buffer,
                              std::uint32_t capacity) = 0;

    /** Releases the pipe. */
    virtual void close(CommunicationCommonField_t &record) = 0;
};
