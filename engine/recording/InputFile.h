#pragma once

#include <string>

/** The path, UTF-8, leads to a regular file that this process may read. */
bool isReadableFile(const std::string &path);
