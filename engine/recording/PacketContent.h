#pragma once

#include "engine/recording/Bytes.h"

#include <cstddef>

/** What can be told of a packet from its own bytes. */
namespace PacketContent {

/** How a track's packets are made, as far as damage can be told by it. */
struct Kind
{
    /** Bytes of the length before each NAL unit; 0 where the codec has none. */
    unsigned nalLengthSize = 0;
    bool isHevc = false;
    /** No sound packet has this many zero bytes in a row; 0 when nothing is known. */
    std::size_t impossibleZeros = 0;
    /** What stands before a picture's coded data may have any number of them: JPEG. */
    bool hasJpegHeader = false;
    /** Recorders may fill up their packets with zeros, so that the next begins with a sector. */
    bool mayBePadded = false;
};

/** Zero bytes in a row that coded pictures (H.264, HEVC) and frames of AAC do not have. */
constexpr std::size_t zerosInPicture = 32;
constexpr std::size_t zerosInSound = 256;
/** The same of MPEG-4 Part 2 and of JPEG's coded data. */
constexpr std::size_t zerosInOldPicture = 64;

/** May begin a NAL unit. */
bool isNalHeader(std::uint8_t byte, bool isHevc);

/** A number of `width` bytes, the highest first. */
std::uint64_t lengthField(const std::uint8_t *bytes, unsigned width);

/** The lengths of NAL units lead from the first byte exactly to the end. */
bool isNalChain(ByteView packet, unsigned lengthSize, bool isHevc);

/** Its bytes were overwritten with zeros, or cannot be a packet of this kind. */
bool isOverwritten(ByteView packet, const Kind &kind);

} // namespace PacketContent
