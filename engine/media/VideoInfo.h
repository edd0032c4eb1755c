#pragma once

#include <cstdint>
#include <optional>
#include <string>

/** What a file tells of its video and of the device that recorded it; what it does not is unset. */
struct VideoInfo
{
    /** "h264", "h265", "mjpeg", "mpeg" (MPEG-1, -2 and -4 Part 2), else FFmpeg's codec name. */
    std::optional<std::string> codec;
    /** Stored picture size in pixels, before rotation. */
    std::optional<int> width;
    std::optional<int> height;
    /** Mean frame rate in frames per second. */
    std::optional<double> frameRate;
    /** Mean bit rate of the video in bits per second; of the whole file where only that is known.
     */
    std::optional<std::int64_t> bitRate;
    /** FFmpeg's name of the container. */
    std::optional<std::string> container;
    /** Bytes of the file. */
    std::uint64_t size = 0;
    /** Maker and model of the recording device. */
    std::optional<std::string> make;
    std::optional<std::string> model;
    /** Where maker and model stand in the file, for people. */
    std::optional<std::string> source;
};

/**
 * What is known of a file, damaged or not: read as it stands, else as if it were mended, else out
 * of a picture that is left. There is always an answer for a file that can be read at all. Throws
 * FileNotReadable.
 */
VideoInfo describeFile(const std::string &path);
