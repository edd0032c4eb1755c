#pragma once

#include "engine/EngineError.h"

#include <exception>
#include <string>

/**
 * Does what a request line asks for and returns the answer: one JSON object in compact form,
 * whatever happens. Keys: "err_code", "function" (the request's method) and "message", and what
 * the method has to tell.
 */
std::string handleRequest(const std::string &line);

/** What an answer says of what ended the work on a request. */
struct Failure
{
    ErrorCode code = ErrorCode::Internal;
    /** For people. */
    std::string sentence;
};

Failure failureFor(const std::exception &error);
