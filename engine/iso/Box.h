#pragma once

#include "engine/recording/SourceFile.h"

#include <optional>
#include <string>
#include <vector>

/** Boxes of the ISO base media file format: MP4, QuickTime and their relatives. */

using FourCc = std::uint32_t;

constexpr FourCc fourCc(const char (&text)[5])
{
    return static_cast<FourCc>(static_cast<unsigned char>(text[0])) << 24U |
           static_cast<FourCc>(static_cast<unsigned char>(text[1])) << 16U |
           static_cast<FourCc>(static_cast<unsigned char>(text[2])) << 8U |
           static_cast<FourCc>(static_cast<unsigned char>(text[3]));
}

std::string textOf(FourCc code);

struct Box
{
    FourCc type = 0;
    std::uint64_t offset = 0;
    std::uint64_t headerSize = 0;
    /** Behind the last byte that is there. */
    std::uint64_t end = 0;
    /** It says that it is longer than what holds it. */
    bool isCut = false;

    std::uint64_t body() const { return offset + headerSize; }
    std::uint64_t bodySize() const { return end - body(); }
};

/**
 * Reads the box at `offset`. What it holds ends at `limit` at the latest. None where there are no
 * eight bytes or the size is impossible.
 */
std::optional<Box> readBox(const SourceFile &source, std::uint64_t offset, std::uint64_t limit);

/** The boxes between two places, up to the first that cannot be one. */
std::vector<Box> readBoxes(const SourceFile &source, std::uint64_t from, std::uint64_t to);
inline std::vector<Box> childrenOf(const SourceFile &source, const Box &box)
{
    return readBoxes(source, box.body(), box.end);
}

/** The 32 bits at a place; 0 where the file ends or cannot be read. */
std::uint32_t numberAt(const SourceFile &source, std::uint64_t offset);

/** The first of this type, if any. */
std::optional<Box> findBox(const std::vector<Box> &boxes, FourCc type);

/** A type of four printable characters, as all standard ones are. */
bool isPlausibleType(FourCc type);
