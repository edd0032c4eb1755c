#pragma once

#include "engine/recording/Bytes.h"

#include <fstream>
#include <string>

/** A file written from its start to its end, through a buffer of fixed size. For one thread. */
class OutputFile
{
public:
    /** @param path UTF-8; the file exists. All functions throw OutputNotWritten. */
    explicit OutputFile(const std::string &path);

    void write(ByteView bytes);
    /** Bytes written so far. */
    std::uint64_t position() const { return written; }
    /** Writes over what stands at an earlier position. */
    void patch(std::uint64_t position, ByteView bytes);
    void close();

private:
    void flush();
    void require() const;

    std::ofstream file;
    Bytes buffer;
    std::uint64_t written = 0;
};
