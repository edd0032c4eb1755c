#include "engine/log/LogFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace {

constexpr mode_t logMode = 0666;

} // namespace

void LogFile::open(const std::filesystem::path &path)
{
    close();
    descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, logMode);
}

bool LogFile::isOpen() const
{
    return descriptor >= 0;
}

void LogFile::append(std::string line)
{
    line += '\n';
    // There is nobody to tell of a line that could not be written.
    [[maybe_unused]] const ssize_t written = write(descriptor, line.data(), line.size());
}

void LogFile::close()
{
    if (isOpen())
        ::close(std::exchange(descriptor, -1));
}

long long processId()
{
    return getpid();
}
