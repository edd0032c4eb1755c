#pragma once

#include "engine/media/Ffmpeg.h"

#include <cstdint>

/** Decodes single key pictures of one stream, spread over its length, each by itself. */
class KeyPictures
{
public:
    /** @param packets how many the stream has */
    KeyPictures(const AVStream &ofStream, std::uint64_t packets);

    /**
     * To be shown packets of the stream, in order; decodes some of the key pictures.
     *
     * @param number which of the stream's packets it is, from 1
     */
    void see(const AVPacket &packet, std::uint64_t number);
    /** The same, of the one that follows. */
    void see(const AVPacket &packet) { see(packet, last + 1); }

    /** Some were tried, and not one can be decoded. */
    bool areAllBroken() const { return tried > 0 && decoded == 0; }

private:
    void decode(const AVPacket &packet);

    const AVStream &stream;
    std::uint64_t step;
    std::uint64_t last = 0;
    std::uint64_t due = 0;
    int tried = 0;
    int decoded = 0;
};
