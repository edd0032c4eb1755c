#pragma once

#include "engine/recording/Bytes.h"

#include <fstream>
#include <string>

/**
 * A damaged file, opened for reading only, read at any place. Small reads near each other are
 * served from a window in memory. For one thread.
 */
class SourceFile
{
public:
    /** Most that view() gives at once. */
    static constexpr std::size_t windowSize = std::size_t{64} * 1024;

    /** @param path UTF-8. Throws FileNotReadable. */
    explicit SourceFile(const std::string &path);

    const std::string &path() const { return filePath; }
    std::uint64_t size() const { return fileSize; }

    /**
     * The `size` bytes at `offset`, at most windowSize; fewer where the file ends or cannot be
     * read. Good until the next call.
     */
    ByteView view(std::uint64_t offset, std::size_t size) const;

    /** Reads past the window. Returns how many bytes there were. */
    std::size_t read(std::uint64_t offset, std::uint8_t *target, std::size_t size) const;

    /** A copy of the `size` bytes at `offset`; shorter where the file ends. */
    Bytes copy(std::uint64_t offset, std::uint64_t size) const;

private:
    std::string filePath;
    std::uint64_t fileSize = 0;
    mutable std::ifstream file;
    mutable Bytes window;
    mutable std::uint64_t windowStart = 0;
};
