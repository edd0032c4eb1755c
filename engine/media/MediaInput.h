#pragma once

#include "engine/media/Ffmpeg.h"
#include "engine/recording/PiecedFile.h"

#include <memory>
#include <string>

/** A mended file, and how far FFmpeg's reader is in it. */
struct PiecesPlace
{
    const PiecedFile *file = nullptr;
    std::uint64_t position = 0;
};

/** How packets come out of a transport stream. */
enum class TransportPackets {
    /** Cut into pictures and frames, whatever the pieces of the stream are. */
    Parsed,
    /** As the stream's pieces have them: quicker, and nothing is left out. */
    AsStored,
};

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
    explicit MediaInput(const std::string &path,
                        TransportPackets transport = TransportPackets::Parsed);

    /**
     * Opens a mended file that is nowhere written. Throws NotRecognised.
     *
     * @param reader FFmpeg's name of the reader; null where the file itself tells it
     */
    explicit MediaInput(std::unique_ptr<PiecedFile> file, const char *reader = nullptr);

    AVFormatContext &context() { return *input; }
    const AVFormatContext &context() const { return *input; }

    /**
     * Reads the next packet, going on after damage as far as the file can be read. Returns false
     * at the end.
     */
    bool read(AVPacket &packet);

    /** Bytes of the file. */
    std::uint64_t size() const;

    /** The last read() found the end, not an error that it could not get over. */
    bool isAtEnd() const { return atEnd; }

    /**
     * The container states the size of each packet. Where it does not, packets are found by
     * parsing what stands between marks.
     */
    bool statesPacketSizes() const;

    /** A part of the packet is missing. Can be told only where sizes are stated. */
    bool isIncomplete(const AVPacket &packet) const;

    /** The container says nothing of time: pictures follow one another, and that is all. */
    bool isRaw() const { return (input->iformat->flags & AVFMT_NOTIMESTAMPS) != 0; }

    /** Size of a transport stream's packets in its file; 0 for other containers. */
    int transportPacketSize() const;

    /** The stream that a person would call the video: cover pictures come last. Null for none. */
    const AVStream *videoStream() const;

private:
    void open(AVFormatContext *context, const char *reader, const std::string &url,
              const std::string &path, TransportPackets transport);

    /** Read through `reading`, where there is no file to be opened by name. */
    std::unique_ptr<PiecedFile> pieced;
    std::unique_ptr<PiecesPlace> place;
    Ffmpeg::IoPtr reading;
    Ffmpeg::InputPtr input;
    bool atEnd = false;
};
