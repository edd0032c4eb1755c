#pragma once

#include "engine/matroska/Ebml.h"
#include "engine/recording/PacketContent.h"
#include "engine/recording/Recording.h"

#include <optional>
#include <vector>

/** One track; its packets are whole blocks, as they stand in the file. */
struct MatroskaTrack : Track
{
    std::uint64_t number = 0;
    PacketContent::Kind content;
    /** FFmpeg's reader hands its frames out as they are stored. */
    bool isVerbatim = false;
    /** FFmpeg's reader hands out frames of other sizes or times than are stored. */
    bool isReadOtherwise = false;
    /** FFmpeg's reader has a stream for it. */
    bool isStream = true;
    /** Some block holds several frames. */
    bool hasLacing = false;
    /** The file says, or its packets do, how it is coded. Otherwise it cannot be in an output. */
    bool isDescribed = true;
};

struct MatroskaCluster
{
    /** Of its first byte, or of the first of its blocks that was found. */
    std::uint64_t offset = 0;
    /** In units of the file's time; what its blocks' times count from. */
    std::int64_t time = 0;
    /** The cluster's own time is lost: this one is derived from its neighbours. */
    bool isTimeGuessed = false;
};

/** A damaged Matroska or WebM file, as far as it is understood. */
struct MatroskaRecording
{
    std::optional<Element> header;
    std::optional<Element> info;
    std::optional<Element> tracksElement;
    /** Descriptions made anew, where the file's own are lost; else empty. */
    Bytes madeTracks;
    /** Chapters, tags, attachments. */
    std::vector<Element> others;
    /** Nanoseconds. */
    std::uint64_t timestampScale = 1000000;
    std::vector<MatroskaTrack> tracks;
    std::vector<MatroskaCluster> clusters;
};
