#pragma once

#include <string>
#include <vector>

namespace CommandLine {

/** What follows the program's name on its command line, as UTF-8. Takes what main() is given. */
std::vector<std::string> arguments(int argc, char *argv[]);

} // namespace CommandLine
