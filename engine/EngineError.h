#pragma once

#include <stdexcept>
#include <string>

/**
 * What a request can fail with: the answer's "err_code". All failures are negative, and none is
 * -1, which clients use for failures of their own. docs/service-protocol.md explains them to
 * people; the numbers never change their meaning.
 */
enum class ErrorCode : int {
    None = 0,
    BadRequest = -10,
    UnknownMethod = -11,
    NotAvailable = -12,
    FileNotReadable = -20,
    NotRecognised = -21,
    NoPicture = -22,
    NothingReadable = -23,
    OutputNotWritten = -30,
    OutputNotSound = -31,
    ContainerNotWritable = -32,
    SampleNotUsable = -40,
    SampleDoesNotFit = -41,
    OutOfMemory = -90,
    Internal = -99,
};

/** Ends the work on a request. what() is a sentence for people. */
class EngineError : public std::runtime_error
{
public:
    EngineError(ErrorCode number, const std::string &sentence)
        : std::runtime_error(sentence), errorCode(number)
    {
    }

    ErrorCode code() const { return errorCode; }

private:
    ErrorCode errorCode;
};
