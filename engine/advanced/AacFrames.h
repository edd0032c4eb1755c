#pragma once

#include "engine/advanced/AacLength.h"
#include "engine/media/Ffmpeg.h"
#include "engine/recording/Bytes.h"

#include <array>
#include <optional>
#include <vector>

/**
 * Finds out how long frames of AAC are, which say it nowhere: by walking over their bits where that
 * tells, and otherwise by decoding them. For one thread.
 */
class AacFrames
{
public:
    explicit AacFrames(const AVCodecParameters &ofTrack);

    /** Takes in a frame of the sample. Returns false when it cannot be decoded. */
    bool learn(ByteView frame);

    /** Frames that follow one another. */
    struct Chain
    {
        /** Of the frames whose ends are known, from the first on. */
        std::vector<std::uint32_t> sizes;
        /** They fill the bytes to the last. */
        bool isExact = false;
    };

    /** The frames from the first byte on. */
    Chain chainFrom(ByteView bytes);

    /**
     * The same, and where it breaks off, also the frame before that place, if it is whole. This and
     * startOfChainTo() try out one place after another; in one file they do so only so many times.
     */
    Chain longestFrom(ByteView bytes);

    /** Where the longest chain begins that leads exactly to the end of the bytes, and that chain.
     */
    std::optional<std::size_t> startOfChainTo(ByteView bytes, Chain &chain);

    bool mayBegin(std::uint8_t byte) const { return knownStarts[byte]; }
    std::uint32_t largest() const { return largestFrame; }

private:
    void open();
    bool fits(std::uint32_t size) const;
    std::uint32_t largestPossible() const;
    /** As far as no decoder is needed to tell; sets whether one is needed from there on. */
    Chain walkedChain(ByteView bytes, bool &needsDecoder) const;
    Chain decodedChain(ByteView bytes);
    bool mayEnd(ByteView bytes) const;
    /** What remained of the bytes before each frame that was decoded. */
    std::vector<std::uint32_t> remainders(ByteView bytes, bool &isWhole);
    std::uint32_t sizeOfFrame(ByteView bytes);
    void spend(std::size_t frames);

    const AVCodecParameters &parameters;
    Ffmpeg::CodecContextPtr decoder;
    Ffmpeg::PacketPtr packet;
    Ffmpeg::FramePtr frame;
    AacLength lengths;
    /** The walk has told the lengths of all frames of the sample. */
    bool tellsLengths = true;
    std::array<bool, 256> knownStarts = {};
    std::uint32_t largestFrame = 0;
    std::uint32_t smallestFrame = 0;
    /** All frames of the sample end as the format wants it. */
    bool endsKnown = true;
    /** Decodings, and frames that come of them: some minutes of trying. */
    std::uint64_t triesLeft = 2'000'000;
    /** A frame of the sample, to see whether what stands before it leads to it. */
    Bytes knownFrame;
};
