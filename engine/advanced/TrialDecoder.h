#pragma once

#include "engine/advanced/SampleProfile.h"

/** Decodes pictures to see whether they are sound, as a track of the sample. For one thread. */
class TrialDecoder
{
public:
    /** Throws bad_alloc. */
    explicit TrialDecoder(const AVCodecParameters &parameters);

    void decode(ByteView bytes);

    /** To be called once, at the end. Everything was decoded, and nothing of it had to be guessed.
     */
    bool finish();

    /** How many pictures were shown, until now. */
    std::ptrdiff_t shown() const { return frames; }

    /** Of all that was shown. */
    std::uint64_t hash() const { return pictureHash; }

private:
    void receive();
    void addToHash();

    Ffmpeg::CodecContextPtr decoder;
    Ffmpeg::PacketPtr packet;
    Ffmpeg::FramePtr frame;
    bool hasError = false;
    std::ptrdiff_t frames = 0;
    std::uint64_t pictureHash = 0xcbf29ce484222325;
};

/**
 * A decoder with the right parameters needs a coded picture to its last bytes, and nothing behind
 * them; one with wrong ones loses its way, and ends somewhere.
 *
 * @param picture a key picture, as units with a length of `width` bytes before each
 */
bool isUsedToItsEnd(const AVCodecParameters &parameters, ByteView picture, unsigned width);

/** The sample's own pictures are used to their end: some recorders pad them. */
bool samplePicturesEndExactly(const SampleProfile &sample);

/** The same picture with other last bytes. */
Bytes withOtherEnd(ByteView picture);
