#pragma once

#include "engine/media/Ffmpeg.h"
#include "engine/media/MediaInput.h"
#include "engine/media/TimestampMender.h"

#include <optional>
#include <string>
#include <vector>

/** Name of FFmpeg's writer for the container that `input` is in, or none when there is none. */
std::optional<std::string> writerFor(const AVFormatContext &input, const std::string &outputPath);

/** A new file that takes over streams, tags and chapters of an input, packet by packet. */
class MediaOutput
{
public:
    /**
     * Opens the file and writes its header. Streams that the container cannot take are left out.
     * Throws OutputNotWritten, and ContainerNotWritable when it can take none.
     *
     * @param writer as writerFor() names it
     */
    MediaOutput(const MediaInput &input, const std::string &path, const std::string &writer);
    ~MediaOutput();
    MediaOutput(const MediaOutput &) = delete;
    MediaOutput &operator=(const MediaOutput &) = delete;

    /** The file has a stream for this one of the input's. */
    bool takes(int inputStream) const;

    /** Writes a packet of the input, its time stamps mended. Throws OutputNotWritten. */
    void write(AVPacket &packet);

    /** Writes what remains and closes the file. Throws OutputNotWritten. */
    void finish();

    /** Packets written so far, by stream of the output. */
    const std::vector<std::int64_t> &packetCounts() const { return counts; }

private:
    enum class Streams { All, PictureAndSound };

    /** Returns the libraries' code: negative on failure, with nothing left open. */
    int open(const AVFormatContext &source, Streams streams);
    int addStreams(const AVFormatContext &source, Streams streams);
    void close();

    std::string path;
    std::string writer;
    AVFormatContext *output = nullptr;
    /** Index in the output by index in the input, -1 for streams left out. */
    std::vector<int> streamMap;
    /** By index in the output. */
    std::vector<AVRational> sourceTimeBases;
    std::vector<TimestampMender> menders;
    std::vector<std::int64_t> counts;
};
