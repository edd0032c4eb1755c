#pragma once

#include "engine/media/ClockMender.h"
#include "engine/media/Ffmpeg.h"
#include "engine/media/MediaInput.h"
#include "engine/media/ReadBack.h"
#include "engine/media/TimestampMender.h"

#include <optional>
#include <string>
#include <vector>

/**
 * Name of FFmpeg's writer for the container that `input` is in, or none when there is none. MP4
 * that holds what FFmpeg writes only into its elder relative becomes that: QuickTime.
 */
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
     * @param padding bytes to be left free in the header, at least, where the container has such
     */
    MediaOutput(const MediaInput &input, const std::string &path, const std::string &writer,
                std::size_t padding = 0);
    ~MediaOutput();
    MediaOutput(const MediaOutput &) = delete;
    MediaOutput &operator=(const MediaOutput &) = delete;

    /** The file has a stream for this one of the input's. */
    bool takes(int inputStream) const;

    /**
     * Writes a packet of a stream that the file takes, its time stamps mended. Returns false when
     * the container cannot hold this packet. Throws OutputNotWritten.
     */
    bool write(AVPacket &packet);

    /** Writes what remains, closes the file and tells what is in it. Throws OutputNotWritten. */
    std::vector<WrittenStream> finish();

private:
    enum class Streams { All, PictureAndSound };

    /** Returns the libraries' code: negative on failure, with nothing left open. */
    int open(const AVFormatContext &source, Streams streams);
    int addStreams(const AVFormatContext &source, Streams streams);
    int writeHeader(const AVFormatContext &source);
    /** Something of no size at time zero of a stream. */
    void writeEmptyFirst(int index);
    void mendTimes(AVPacket &packet, std::size_t index);
    void close();

    std::string path;
    std::string writer;
    std::size_t headerPadding;
    /** Of the input; 0 when it is no transport stream. */
    int transportPacketSize;
    AVFormatContext *output = nullptr;
    /** Index in the output by index in the input, -1 for streams left out. */
    std::vector<int> streamMap;
    /** By index in the output. */
    std::vector<AVRational> sourceTimeBases;
    std::vector<TimestampMender> menders;
    /** Only for containers whose clock may be set anew. */
    std::optional<ClockMender> clock;
    /** By index in the output. */
    std::vector<WrittenStream> written;
};
