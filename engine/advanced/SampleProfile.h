#pragma once

#include "engine/advanced/AacFrames.h"
#include "engine/advanced/DataFraming.h"
#include "engine/advanced/SoundShare.h"
#include "engine/advanced/VideoRecogniser.h"
#include "engine/iso/IsoRecording.h"
#include "engine/media/Ffmpeg.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

/** How the packets of a track are told. */
enum class Coding {
    /** H.264 and HEVC, motion JPEG and the like. */
    Video,
    Aac,
    /** Plain sound: samples of one size. */
    Plain,
    /** Data of which nothing is known but what the sample teaches. */
    Data,
};

/** By how many seconds what stands at a place of the file is ahead of something near it. */
struct Lead
{
    bool isKnown = false;
    double least = 0;
    double most = 0;

    void take(double lead)
    {
        least = isKnown ? std::min(least, lead) : lead;
        most = isKnown ? std::max(most, lead) : lead;
        isKnown = true;
    }
};

/** What the sample teaches of one track. */
struct TrackProfile
{
    Coding coding = Coding::Data;
    /** Sound of which nothing tells where a packet ends. It is left out. */
    bool isUntold = false;
    /** How long a packet, or a sample of plain sound, usually lasts, in the track's units. */
    std::int64_t duration = 0;
    /** Not all packets but the last last that long. */
    bool isVariable = false;
    std::uint32_t smallest = 0;
    std::uint32_t largest = 0;
    DataFraming framing = {};
    /** So many units (packets, or samples of plain sound) are always written together. */
    std::int64_t grain = 1;
    /** Of the end of a packet before the picture that comes next in the file. */
    Lead lead = {};
};

/** A playable file's way of storing its media: what the recovery of another one goes by. */
struct SampleProfile
{
    explicit SampleProfile(const std::string &path) : source(path) {}

    SourceFile source;
    /** As its index tells it. */
    IsoRecording recording;
    Ffmpeg::InputPtr input;
    /** By track, as in the recording. */
    std::vector<TrackProfile> tracks;
    /** Which of them is the video; and how its pictures are found. */
    std::size_t video = 0;
    std::unique_ptr<VideoRecogniser> pictures;
    /** The first from which decoding can begin. */
    Bytes keyPicture;
    /** None when there is no AAC. */
    std::unique_ptr<AacFrames> aac;
    /** How the tracks of sound, all of one coding, share what stands between pictures. */
    std::unique_ptr<SoundShare> share;
    /** Bytes of one sample of all tracks of plain sound together. */
    std::uint32_t plainFrame = 0;
    /** Plain sound between pictures is always a multiple of so many bytes. */
    std::uint64_t plainGrain = 0;
    /** Of what stands between two pictures; and of the plain sound before any of them. */
    std::uint64_t largestRun = 0;
    std::uint64_t leastPlain = 0;
    /** Bytes between packets that belong to no track. */
    bool hasPadding = false;
    /** What stands behind such bytes begins at multiples of so many. */
    std::uint64_t alignment = 1;
    /** How much the order counts of pictures differ that are shown one after the other. */
    std::int64_t orderStep = 1;
    /** From how many on order counts are not told apart. */
    std::int64_t orderRange = 0;
    /** A picture that is shown in the order of decoding waits until so many others are decoded. */
    std::size_t delayedBy = 0;
    /** And so long, in the track's units. */
    std::int64_t orderDelay = 0;
    /** A picture is decoded at most so many pictures before its place in the order of showing. */
    std::int64_t aheadBy = 0;
    /** Pictures from one beginning of order counts to the next; 0 when it changes. */
    std::int64_t keyDistance = 0;
    /** Of the end of the sound that stands before a picture, and of the beginning of that behind
     * it, before the picture, in a variable rate. */
    Lead pictureAfterSound = {};
    Lead pictureBeforeSound = {};
    /** Decode times of such pictures are whole numbers of these units. */
    std::int64_t tick = 1;
    /** Data that stands before everything else, in its order: tracks, each with one packet. */
    std::vector<std::size_t> leading;
    /** Order counts tell exactly when the sample's pictures are shown. */
    bool tellsOrder = false;

    bool has(Coding coding) const;
    /** Some sound is left out. */
    bool hasUntoldSound() const;
};

/**
 * Learns from a sample. Throws SampleNotUsable when it cannot be played or has no video,
 * NotAvailable when it is made in a way that recovery does not know.
 */
std::unique_ptr<SampleProfile> learnSample(const std::string &path);

/** FFmpeg's description of a track of the sample; null when it has none. */
const AVStream *streamOf(const SampleProfile &sample, std::size_t track);
