#pragma once

#include "engine/recording/Progress.h"
#include "engine/recording/SourceFile.h"

/** Reads a file in its order, much at a time, and tells the log how far it has come. */
class ForwardReader
{
public:
    /** @param what is done, for the log: "copied" */
    ForwardReader(const SourceFile &file, const char *what);

    /** The `size` bytes at `offset`; fewer where the file ends. Good until the next call. */
    ByteView read(std::uint64_t offset, std::size_t size);

private:
    /** Moves the window so that it begins at `offset` and holds `size` bytes, if they are there. */
    void fill(std::uint64_t offset, std::size_t size);

    const SourceFile &source;
    Progress progress;
    Bytes window;
    std::uint64_t start = 0;
};
