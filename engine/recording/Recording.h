#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

/** What a damaged file was found to hold: the model that readers fill and writers write. */

/** One packet of a track, where it stands in the damaged file. Kept small: there may be millions.
 */
struct Packet
{
    std::uint64_t offset : 54 = 0;
    /** Which of the track's sample descriptions is its own, from 1. */
    std::uint64_t description : 8 = 1;
    std::uint64_t isKey : 1 = 0;
    /** Its bytes, or a part of them, are not there. */
    std::uint64_t isLost : 1 = 0;
    /** When it is decoded, in the track's units. */
    std::int64_t time = 0;
    /** Bytes. */
    std::uint32_t size = 0;
    /** How much later than decoded it is shown, in the track's units. */
    std::int32_t compositionOffset = 0;

    static constexpr std::uint64_t offsetMask = (1ULL << 54U) - 1;
    static constexpr std::uint64_t furthest = 1ULL << 53U;

    std::uint64_t end() const { return offset + size; }

    /** Places beyond any file's end are moved to `furthest`, which is one of them. */
    void setOffset(std::uint64_t place)
    {
        offset = (place < furthest ? place : furthest) & offsetMask;
    }
    /** @param by in the track's units */
    void showEarlier(std::int64_t by)
    {
        constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
        compositionOffset = static_cast<std::int32_t>(
            std::clamp(compositionOffset - std::clamp(by, -most, most), -most, most));
    }
    void setDescription(std::uint32_t number) { description = number & 0xffU; }
    void setKey(bool is) { isKey = is ? 1U : 0U; }
    void setLost(bool is) { isLost = is ? 1U : 0U; }
};

enum class TrackKind { Video, Audio, Other };

/**
 * As many packets as a recording in a file of this size may have, all tracks together. What names
 * more of them is damaged or made up, and there would be no end to the memory that they take.
 */
constexpr std::uint64_t mostPackets(std::uint64_t fileSize)
{
    constexpr std::uint64_t ofSmallFile = 4096;
    constexpr std::uint64_t bytesPerPacket = 16;
    // A day of pictures and sound.
    constexpr std::uint64_t ofAnyFile = 1ULL << 24U;
    return std::min(ofSmallFile + fileSize / bytesPerPacket, ofAnyFile);
}

/** Tracks beyond these are left out: each is looked at with every packet. */
constexpr std::size_t mostTracks = 128;

/** Bytes. Packets are in memory one at a time; no picture has more. */
constexpr std::uint64_t largestPacket = 256ULL << 20U;

/** A span of time, in seconds, in which a track lacks packets. */
struct Gap
{
    double from = 0;
    double to = 0;
};

struct Track
{
    TrackKind kind = TrackKind::Other;
    /** The container's own name for the codec, for people. */
    std::string codec;
    /** Units of time in a second. */
    std::int64_t timescale = 1000;
    /** In the order in which they are decoded. */
    std::vector<Packet> packets;
    /** How long the last packet lasts. */
    std::int64_t lastDuration = 0;
    /** Packets known to have been there of which not even the place is known any more. */
    std::int64_t missing = 0;
    /** Packets of which the file says that they are there, in any state. */
    std::int64_t found() const { return static_cast<std::int64_t>(packets.size()) + missing; }
};
