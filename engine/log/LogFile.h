#pragma once

#include <filesystem>
#include <string>

/**
 * A file of lines that several processes write to at once: each line is added in one piece at what
 * is then the end. For one thread at a time.
 */
class LogFile
{
public:
    LogFile() = default;
    ~LogFile() { close(); }
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /** Closes what was open. Where the file cannot be opened, isOpen() is false. */
    void open(const std::filesystem::path &path);
    bool isOpen() const;
    /** Adds the line and the system's end of one. */
    void append(std::string line);

private:
    void close();

#ifdef _WIN32
    /** A Windows handle. */
    void *handle = nullptr;
#else
    int descriptor = -1;
#endif
};

/** This process's id. */
long long processId();
