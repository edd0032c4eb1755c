// A tool that obeys a script: lines of the file "script" beside the program. It notes what it is
// called with in the file "record" there, a line for each call, each argument followed by "|".
//   write TEXT   writes a line into the file that its last argument names
//   noteId       writes its process id into a file of that name with ".pid"
//   await        waits until there is a file of that name with ".go"
//   hang         goes on until it is ended, or half a minute
//   exit N       ends with that code
// At the end of the script it ends with 0.

#include "engine/Utf8Path.h"
#include "engine/service/CommandLine.h"

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr auto longestLife = std::chrono::seconds(30);
constexpr auto lookInterval = std::chrono::milliseconds(10);

long long processId()
{
#ifdef _WIN32
    return _getpid();
#else
    return getpid();
#endif
}

void note(const fs::path &folder, const std::vector<std::string> &arguments)
{
    std::ofstream record(folder / "record", std::ios::app | std::ios::binary);
    for (const std::string &argument : arguments)
        record << argument << '|';
    record << '\n';
}

bool isThere(const fs::path &path)
{
    return std::ifstream(path).is_open();
}

void await(const fs::path &path)
{
    for (auto waited = lookInterval; !isThere(path) && waited < longestLife; waited += lookInterval)
        std::this_thread::sleep_for(lookInterval);
}

void obey(const std::string &line, const std::string &target)
{
    const std::string word = line.substr(0, line.find(' '));
    const std::string rest = line.substr(std::min(word.size() + 1, line.size()));
    if (word == "write")
        std::ofstream(pathFromUtf8(target), std::ios::binary) << rest << '\n';
    else if (word == "noteId")
        std::ofstream(pathFromUtf8(target + ".pid")) << processId();
    else if (word == "await")
        await(pathFromUtf8(target + ".go"));
    else if (word == "hang")
        std::this_thread::sleep_for(longestLife);
    else if (word == "exit")
        std::exit(std::atoi(rest.c_str()));
    else
        std::exit(99);
}

} // namespace

int main(int argc, char *argv[])
{
    const fs::path folder = fs::path(argv[0]).parent_path();
    const std::vector<std::string> arguments = CommandLine::arguments(argc, argv);
    note(folder, arguments);
    std::ifstream script(folder / "script");
    for (std::string line; std::getline(script, line);)
        obey(line, arguments.back());
}
