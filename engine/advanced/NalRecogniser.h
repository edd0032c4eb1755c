#pragma once

#include "engine/advanced/VideoRecogniser.h"

#include <array>

/** H.264 and HEVC, as units with a length before each. */
class NalRecogniser : public VideoRecogniser
{
public:
    /**
     * @param lengthSize bytes of the length before each unit
     * @param configuration the body of the sample's "avcC" or "hvcC" box
     */
    NalRecogniser(bool hevc, unsigned lengthSize, ByteView configuration);

    bool learn(ByteView packet) override;
    bool mayBegin(const std::uint8_t *bytes) const override;
    std::size_t findStart(const std::uint8_t *bytes, std::size_t count) const override;
    std::optional<FoundPicture> pictureAt(MediaWindow &media, std::uint64_t offset) const override;
    bool isBegun(ByteView bytes) const override;
    bool take(ByteView packet) override;

    const ParameterSets &parameters() const { return sets; }

private:
    class Reading;

    /** Bytes. Other scenes than the sample's make larger units. */
    std::uint64_t largestPossible() const;
    /** The length at `bytes`, with its own size, and a unit behind it; 0 when it cannot be one. */
    std::uint64_t unitAt(const std::uint8_t *bytes) const;
    bool isPlausible(ByteView unit, std::uint64_t size) const;

    bool isHevc;
    unsigned width;
    ParameterSets sets;
    /** By the first byte of a unit; and of the first unit of a picture. */
    std::array<bool, 256> knownHeaders = {};
    std::array<bool, 256> knownStarts = {};
    /** By the second byte, of HEVC. */
    std::array<bool, 256> knownLayers = {};
    std::uint64_t largestUnit = 0;
    std::size_t fewestSlices = 0;
    std::size_t mostSlices = 0;
};
