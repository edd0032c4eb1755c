#pragma once

#include "engine/EngineError.h"
#include "engine/media/Ffmpeg.h"
#include "engine/recording/PacketDigest.h"

#include <string>
#include <vector>

/** What a track of a written file must read back as. */
struct ExpectedTrack
{
    PacketDigest digest;
    /** Packets come out as they were put in; otherwise only their bytes can be compared. */
    bool comparesPackets = true;
    /** Bytes were put in in the order in which they come out. */
    bool comparesBytes = true;
};

/** What a check ends with when a written file is not what it is to be: OutputNotSound. */
EngineError notSound(const std::string &why);

/** What a check ends with when pictures are where they are to be and cannot be decoded. */
EngineError notDecodable();

/** Opens a written file for packets to be read as they are stored. Throws OutputNotSound. */
Ffmpeg::InputPtr openWritten(const std::string &path);

/** The streams of an opened file that are its tracks, in order. A cover is none. */
std::vector<AVStream *> writtenStreams(const AVFormatContext &input);

/**
 * Reads a file that has just been written with FFmpeg's reader, to its end, and compares the
 * packets of each track, their bytes and their times with what was put in; and decodes some key
 * pictures, from the first to the last.
 *
 * Throws OutputNotSound when the file does not open or anything differs, NothingReadable when
 * there are key pictures and not one of those tried can be decoded.
 *
 * @param tracks in the file's order
 */
void checkOutput(const std::string &path, std::vector<ExpectedTrack> tracks);
