#pragma once

#include "engine/media/Ffmpeg.h"
#include "engine/recording/PacketDigest.h"

#include <cstdint>
#include <string>
#include <vector>

/** What was put into one stream of an output. */
struct WrittenStream
{
    /** Microseconds; AV_NOPTS_VALUE when unknown. */
    struct Times
    {
        std::int64_t shown = 0;
        std::int64_t decoded = 0;
    };

    AVMediaType kind = AVMEDIA_TYPE_UNKNOWN;
    /** Of the bytes alone. */
    PacketDigest digest = {};
    /** Of each packet, in order: its times, and whether it is a key picture. */
    std::vector<Times> times = {};
    std::vector<bool> keys = {};
    /** The writer did not take every packet: the bytes are not all in the file. */
    bool isRefused = false;
};

WrittenStream::Times timesOf(const AVPacket &packet, AVRational timeBase);

/**
 * Reads a file that FFmpeg has just written to its end and compares it with what was put in, as far
 * as its container gives that back: bytes, times, and whether key pictures can be decoded.
 *
 * Throws OutputNotSound when it does not open, cannot be read to its end, holds an incomplete
 * packet, lacks bytes, or shows its packets at other times; NothingReadable when there are key
 * pictures and not one of those tried can be decoded.
 *
 * @param written in the file's order, as far as streams are of one kind
 */
void readBack(const std::string &path, const std::vector<WrittenStream> &written);
