#pragma once

#include "engine/media/Ffmpeg.h"
#include "engine/recording/Bytes.h"

#include <vector>

/** Packets of a stream of which nothing says how it is coded. */
struct UnknownStream
{
    /** Some that stand one behind another. */
    std::vector<Bytes> packets;
    /** Some that are said to be key pictures; may be none. */
    std::vector<Bytes> keyPackets;
    /** From one packet to the next, in the mean; 0 when unknown. */
    double secondsPerPacket = 0;
};

/**
 * Tells by its packets how a stream is coded, where they say it themselves: H.264 and HEVC with
 * lengths of four bytes before their units and their parameters among them, MPEG video, motion
 * JPEG, VP8 and VP9; MPEG audio, AC-3 and its like; AAC by how long its frames last, and plain
 * sound by how smooth it is. Nothing is taken for a codec that its decoder does not decode.
 *
 * Returns null where it cannot be told. The parameters of H.264 and HEVC are in the extra data,
 * each behind a start code.
 */
Ffmpeg::ParametersPtr tellCodec(const UnknownStream &stream);
