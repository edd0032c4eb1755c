#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/** What FFmpeg reads of a media file: its streams, packet by packet. */
struct Contents
{
    struct Packet
    {
        /** Of the bytes. */
        std::uint64_t hash = 0;
        /** Seconds; NaN when unknown. */
        double shown = 0;
        double decoded = 0;
        /** Where it begins in the file, -1 when unknown, and how many bytes it has there. */
        std::int64_t place = -1;
        std::int64_t size = 0;
        /** A piece of plain sound that is all silence: what stands where sound is lost. */
        bool isSilence = false;
    };

    struct Stream
    {
        /** 'v', 'a' or 'd' for anything else. */
        char kind = 'd';
        std::string codec;
        /** In the order of the file. */
        std::vector<Packet> packets;
    };

    QString format;
    std::vector<Stream> streams;
    /** Sizes of packets are not known from their beginning: pieces of them lie among others. */
    bool isInterleaved = false;
};

/** Of bytes, the same on every machine. */
std::uint64_t hashOf(const std::uint8_t *data, std::size_t size);

/**
 * Reads a file to its end. Packets of plain sound are taken apart into pieces of equal size, which
 * come out the same however the sound lies in the file; what is left over at a packet's end is left
 * out. A file that does not open has no streams.
 */
Contents readContents(const QString &path);
