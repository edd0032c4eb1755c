#pragma once

#include "engine/iso/Box.h"

#include <limits>
#include <optional>
#include <vector>

/** The parts of a file that recovery needs, found wherever they are. */
struct IsoStructure
{
    std::optional<Box> fileType;
    /** Indexes ("moov"); more than one when something in the media looks like one. */
    std::vector<Box> indexes;
    /** Fragment headers ("moof"). */
    std::vector<Box> fragments;
    /**
     * Media ("mdat"), the first of it, as far as its boxes can be trusted to begin where they say.
     */
    std::vector<Box> media;
    /** Boxes follow one another without a hole from the first byte to the last. */
    bool isSound = true;
};

/**
 * Walks the boxes of a file. Where a size leads nowhere, it searches on byte by byte for the next
 * index or fragment header. One that has lost its own header is found by what it holds: it then
 * is a box with a header of the bytes that are missing (a fragment: what it holds counts from
 * there), or of none (an index).
 *
 * @param searchReach so many bytes at most are searched byte by byte from the end, and so many from
 *     where boxes no longer follow one another
 */
IsoStructure findStructure(const SourceFile &source,
                           std::uint64_t searchReach = std::numeric_limits<std::uint64_t>::max());

/** Whether the first bytes, or a search, say that this is a file of the family. */
bool looksLikeIso(const SourceFile &source);

/** The next track ("trak") with a header of its own at or after `from`. */
std::optional<Box> findTrack(const SourceFile &source, std::uint64_t from, std::uint64_t to);
