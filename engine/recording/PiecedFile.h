#pragma once

#include "engine/recording/SourceFile.h"

#include <vector>

/**
 * A sound file that is nowhere written: spans of a damaged one, and what is made anew, one after
 * another. For one thread.
 */
class PiecedFile
{
public:
    /** @param path of the damaged file, UTF-8. Throws FileNotReadable. */
    explicit PiecedFile(const std::string &path) : source(path) {}

    const SourceFile &damaged() const { return source; }

    void add(Bytes bytes);
    void addSpan(std::uint64_t offset, std::uint64_t size);
    /** Takes no memory, however many they are. */
    void addZeros(std::uint64_t size);

    std::uint64_t size() const { return total; }

    /** Returns how many bytes there were. */
    std::size_t read(std::uint64_t position, std::uint8_t *target, std::size_t wanted) const;

private:
    struct Piece
    {
        /** In this file. */
        std::uint64_t position = 0;
        std::uint64_t size = 0;
        /** In the damaged one; of no meaning where there are bytes, or zeros. */
        std::uint64_t offset = 0;
        Bytes bytes = {};
        bool isZeros = false;
    };

    SourceFile source;
    std::vector<Piece> pieces;
    std::uint64_t total = 0;
};
