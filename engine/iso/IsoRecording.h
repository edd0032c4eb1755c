#pragma once

#include "engine/iso/BoxSearch.h"
#include "engine/recording/Recording.h"

#include <optional>
#include <string>
#include <vector>

/** Where the boxes stand that a track's packets are told by. */
struct SampleTableBoxes
{
    std::optional<Box> sizes;
    std::optional<Box> durations;
    std::optional<Box> compositionOffsets;
    std::optional<Box> chunks;
    std::optional<Box> chunkOffsets;
    std::optional<Box> keySamples;
};

/** One track of an ISO recording. */
struct IsoTrack : Track
{
    std::uint32_t id = 0;
    FourCc handler = 0;
    /** Type of the first sample description. */
    FourCc codecType = 0;
    /** How many sample descriptions there are; packets can name 255. */
    std::uint32_t descriptions = 1;
    /** The "trak" box, which the output's is made after. */
    Box box;
    SampleTableBoxes tables;
    /** Bytes of the length before each NAL unit; 0 where the codec has none. */
    unsigned nalLengthSize = 0;
    bool isHevc = false;
    bool isAac = false;
    /** Samples of sound in a second as the sample description says; 0 when it does not. */
    std::uint32_t sampleRate = 0;
    /** What the media header, and the track's header in the movie's units, say of its length. */
    std::int64_t statedDuration = 0;
    std::int64_t statedMovieDuration = 0;
    /**
     * Units that all have one size and one duration, such as the samples of plain sound: a packet
     * is a chunk of them. 0 where each sample is a packet.
     */
    std::uint32_t uniformSize = 0;
    std::int64_t uniformDuration = 0;
    /** Samples of the index that are one such unit: many where sound is coded in blocks. */
    std::uint32_t uniformSamples = 1;
    /** Samples of sound, at its rate, in such a unit; 0 when that is not known. */
    std::uint32_t soundSamples = 0;
    /** A sample of plain sound as the index counts it; differs from uniformSize in old files. */
    std::uint32_t statedSampleSize = 0;
    /** Samples of the track that are key pictures are listed; without a list all are. */
    bool hasKeyList = false;
    /** Durations in the index made no sense and were derived anew. */
    bool isRetimed = false;
    /** Its edit list's beginning is in the composition offsets: see startAtFirstPackets(). */
    bool startsAtFirst = false;
    /** When its first packet is shown, in the track's units, where that is not when it is decoded.
     */
    std::optional<std::int64_t> firstShown = {};
    /** Made anew ("stsd"), with the size of its pictures, where the track's own box is lost. */
    Bytes madeDescription;
    std::uint32_t madeWidth = 0;
    std::uint32_t madeHeight = 0;
    /** Where packets are taken from is not what the index says. */
    bool isFragmented = false;
};

/** A damaged file of the family, as far as it is understood. */
struct IsoRecording
{
    std::optional<Box> fileType;
    Box index;
    /** Units of the movie's time in a second. */
    std::int64_t movieTimescale = 1000;
    std::vector<IsoTrack> tracks;
    /** What is to be added to the index's places of packets to find them. */
    std::int64_t offsetShift = 0;
    /** It was written as QuickTime, not as MP4; told by its first box or by its handlers. */
    bool isQuickTime = false;
    /** Tracks that the index began to describe and does not any more. */
    int lostTracks = 0;
};
