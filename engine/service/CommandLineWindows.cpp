#include "engine/service/CommandLine.h"

#include "engine/Utf8Path.h"

#include <windows.h>

#include <shellapi.h>

// main() is given them in the machine's code page, which does not know all characters.
std::vector<std::string> CommandLine::arguments(int /*argc*/, char * /*argv*/[])
{
    int count = 0;
    wchar_t **wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> result;
    for (int i = 1; i < count; ++i)
        result.push_back(utf8FromPath(wide[i]));
    LocalFree(wide);
    return result;
}
