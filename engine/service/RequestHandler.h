#pragma once

#include <string>

/**
 * Does what a request line asks for and returns the answer: one JSON object in compact form,
 * whatever happens. Keys: "err_code", "function" (the request's method) and "message", and what
 * the method has to tell.
 */
std::string handleRequest(const std::string &line);
