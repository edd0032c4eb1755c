#pragma once

#include "engine/recording/Bytes.h"

#include <map>
#include <optional>
#include <vector>

/** What a slice header says, as far as pictures are told apart and put into order by it. */
struct SliceHeader
{
    /** The picture's first slice. */
    bool isFirst = false;
    /** Where the slice begins: its first macroblock or coding tree block. */
    std::uint32_t address = 0;
    std::uint32_t type = 0;
    std::uint32_t parameterSet = 0;
    std::uint32_t frameNumber = 0;
    bool isField = false;
    bool isBottomField = false;
    /** Decoding can begin with this picture. */
    bool isKey = false;
    /** All order counts begin anew with it. */
    bool beginsSequence = false;
    /** Other pictures are predicted from it. */
    bool isReference = false;
    /** Belongs to the lowest layer of time, by which order counts go on. */
    bool carriesOrder = true;
    /** The lowest bits of the picture's order count, and how many there are; 0: none. */
    std::uint32_t orderBits = 0;
    unsigned orderWidth = 0;
};

/**
 * The parameter sets of one video track (H.264 or HEVC), of which only what slice headers need is
 * understood.
 */
class ParameterSets
{
public:
    explicit ParameterSets(bool hevc) : isHevc(hevc) {}

    /** Takes all sets of the body of an "avcC" or "hvcC" box. */
    void addConfiguration(ByteView body);

    /** Takes a set as it stands in the media; other units are ignored. */
    void addUnit(ByteView unit);

    /** A unit that holds a set, of any kind. */
    bool isParameterSet(ByteView unit) const;

    /** The same set is known by its very bytes. */
    bool knows(ByteView unit) const;

    /**
     * Reads the header of a slice.
     *
     * @param unit its beginning: some dozen bytes are enough
     * @return none when it cannot be a slice that goes with these sets
     */
    std::optional<SliceHeader> readSlice(ByteView unit) const;

    bool isEmpty() const { return pictures.empty(); }
    std::size_t size() const { return units.size(); }

private:
    struct Sequence
    {
        unsigned frameNumberBits = 4;
        unsigned orderType = 0;
        unsigned orderBits = 0;
        bool hasSeparatePlanes = false;
        bool hasFramesOnly = true;
        /** Of a coding tree block's or macroblock's number in its picture. */
        std::uint32_t blocks = 0;
    };

    struct Picture
    {
        std::uint32_t sequence = 0;
        unsigned extraBits = 0;
        bool hasDependentSlices = false;
        bool hasOutputFlag = false;
    };

    void addAvc(ByteView unit);
    void addHevc(ByteView unit);
    void addAvcSequence(const Bytes &payload);
    void addHevcSequence(const Bytes &payload);
    const Sequence *sequenceOf(std::uint32_t picture) const;
    std::optional<SliceHeader> readAvcSlice(ByteView unit) const;
    std::optional<SliceHeader> readHevcSlice(ByteView unit) const;

    bool isHevc;
    std::map<std::uint32_t, Sequence> sequences;
    std::map<std::uint32_t, Picture> pictures;
    std::vector<Bytes> units;
};

/** Types of NAL units. */
namespace Nal {

inline unsigned typeOf(std::uint8_t firstByte, bool isHevc)
{
    return isHevc ? firstByte >> 1U & 0x3fU : firstByte & 0x1fU;
}

inline bool isSlice(unsigned type, bool isHevc)
{
    constexpr unsigned lastHevcSlice = 21;
    // Data partitions (2 to 4) are not used in files.
    return isHevc ? type <= lastHevcSlice && (type < 10 || type > 15) : type == 1 || type == 5;
}

inline bool isInformation(unsigned type, bool isHevc)
{
    return isHevc ? type == 39 || type == 40 : type == 6;
}

/** Belongs to the picture before it. */
inline bool isTrailing(unsigned type, bool isHevc)
{
    return isHevc ? type == 36 || type == 37 || type == 38 || type == 40
                  : type == 10 || type == 11 || type == 12;
}

} // namespace Nal
