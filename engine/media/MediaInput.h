#pragma once

#include "engine/media/Ffmpeg.h"

#include <string>

/** A media file opened for reading, damaged or not, as far as FFmpeg's libraries can open it. */
class MediaInput
{
public:
    /**
     * Opens a file and looks for its streams.
     *
     * Throws FileNotReadable when the file cannot be opened, NotRecognised when it is no media
     * that can be opened as it stands.
     */
    explicit MediaInput(const std::string &path);

    AVFormatContext &context() { return *input; }
    const AVFormatContext &context() const { return *input; }

    /**
     * Reads the next packet, going on after damage as far as the file can be read. Returns false
     * at the end.
     */
    bool read(AVPacket &packet);

    /** The last read() found the end, not an error that it could not get over. */
    bool isAtEnd() const { return atEnd; }

    /**
     * The container states the size of each packet. Where it does not, packets are found by
     * parsing what stands between marks.
     */
    bool statesPacketSizes() const;

    /** A part of the packet is missing. Can be told only where sizes are stated. */
    bool isIncomplete(const AVPacket &packet) const;

    /** The stream that a person would call the video: cover pictures come last. Null for none. */
    const AVStream *videoStream() const;

private:
    Ffmpeg::InputPtr input;
    bool atEnd = false;
};
