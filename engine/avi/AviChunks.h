#pragma once

#include "engine/recording/SourceFile.h"

#include <vector>

/** One chunk of a stream. */
struct AviChunk
{
    /** Of its header of eight bytes. */
    std::uint64_t offset = 0;
    /** Without its header and the byte that makes it even. */
    std::uint32_t size = 0;
    std::uint16_t stream = 0;
    /** 'v' or 'a'. */
    char kind = 0;

    static constexpr std::uint64_t headerSize = 8;
    std::uint64_t end() const { return offset + headerSize + size + (size & 1U); }
};

/** A stretch of the file where chunks must have been and are not any more. */
struct AviHole
{
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    /** Index of the chunk behind it in AviContent::chunks. */
    std::size_t next = 0;
};

/** What a file holds of pictures and sound, as far as its chunks follow one another. */
struct AviContent
{
    std::vector<AviChunk> chunks;
    std::vector<AviHole> holes;
    /** What its indexes say of all of them, in the order of the file; empty without an index. */
    std::vector<AviChunk> index;
};

/**
 * Walks the chunks of a file, going on behind damage where three of them follow one another.
 *
 * @param reach so many bytes are looked at
 */
AviContent findAviChunks(const SourceFile &source, std::uint64_t reach);
