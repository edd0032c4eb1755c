#pragma once

#include "engine/recording/ByteHash.h"

#include <fstream>
#include <string>
#include <vector>

/** A file written from its start to its end, through a buffer of fixed size. For one thread. */
class OutputFile
{
public:
    static constexpr std::uint64_t hashedPiece = 32U << 20U;

    /** @param path UTF-8; the file exists and is empty. All functions throw OutputNotWritten. */
    explicit OutputFile(const std::string &path);

    void write(ByteView bytes);
    /** Bytes written so far. */
    std::uint64_t position() const { return written; }
    /** Writes over what stands at an earlier position. */
    void patch(std::uint64_t position, ByteView bytes);
    /** From here on, what is written counts for hashes(). */
    void beginHashes();
    /**
     * Of each `hashedPiece` bytes written since beginHashes(), and of the rest; without what was
     * written over them.
     */
    std::vector<std::uint64_t> hashes();
    void close();

private:
    void put(ByteView bytes);
    void addToHash(ByteView bytes);
    void flush();
    void require() const;

    std::ofstream file;
    Bytes buffer;
    bool isHashed = false;
    std::vector<std::uint64_t> ended;
    ByteHash current;
    std::uint64_t inCurrent = 0;
    std::uint64_t written = 0;
};
