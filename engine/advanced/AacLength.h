#pragma once

#include "engine/recording/Bytes.h"

#include <array>
#include <cstdint>
#include <vector>

/** What stands at a place where a frame of AAC may begin. */
struct AacReading
{
    enum class Kind {
        Frame,
        /** No frame, or one that is not whole. */
        None,
        /** Only a decoder can tell. */
        Unsure,
    };

    Kind kind = Kind::None;
    /** Of a frame, in bytes. */
    std::uint32_t size = 0;
};

/**
 * Tells how long frames of AAC are, which say it nowhere, by walking over their bits without
 * decoding them: frames of the low complexity profile, also as the core of what has more in it.
 */
class AacLength
{
public:
    /** @param configuration of a decoder, as the track's description has it */
    explicit AacLength(ByteView configuration);

    /**
     * Takes in a whole frame of the sample: all frames have channels in the order of the first one.
     * Returns false when its length is not what the walk finds.
     */
    bool learn(ByteView frame);

    /** Looks at the frame that may begin with the first byte. Reads nothing behind the last. */
    AacReading at(ByteView bytes) const;

private:
    /** Ends of bands in the spectrum of a window. */
    struct Ends
    {
        std::array<std::uint16_t, 51> of = {};
        unsigned count = 0;
    };
    friend class AacWalk;

    template <typename Table>
    static Ends clipped(const Table &table, std::uint16_t samples);

    /** None: the coding is not known. */
    Ends longEnds;
    Ends shortEnds;
    /** Kind and number of the elements that hold channels, as a frame has them in its bits. */
    std::vector<std::uint32_t> channels;
};
