#include "engine/media/ReadBack.h"

#include "engine/EngineError.h"
#include "engine/media/MediaInput.h"

namespace {

// Where packets are found by parsing, the reader may leave out a part at the start or the end.
constexpr std::int64_t wholeParts = 100;
constexpr std::int64_t neededParts = 99;

PacketBytes readAll(MediaInput &input)
{
    PacketBytes bytes;
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    while (input.read(*packet)) {
        if (input.isIncomplete(*packet))
            throw EngineError(ErrorCode::OutputNotSound,
                              "The repaired file holds a packet that is not whole.");
        const AVStream &stream = *input.context().streams[packet->stream_index];
        bytes[stream.codecpar->codec_type] += packet->size;
        av_packet_unref(packet.get());
    }
    if (!input.isAtEnd())
        throw EngineError(ErrorCode::OutputNotSound,
                          "The repaired file cannot be read to its end.");
    return bytes;
}

} // namespace

void readBack(const std::string &path, const PacketBytes &written)
try {
    MediaInput input(path);
    PacketBytes bytes = readAll(input);
    for (const auto &[kind, size] : written) {
        const bool isWhole = input.statesPacketSizes()
                                 ? bytes[kind] >= size
                                 : bytes[kind] * wholeParts >= size * neededParts;
        if (!isWhole)
            throw EngineError(ErrorCode::OutputNotSound,
                              "The repaired file does not read back as it was written.");
    }
} catch (const EngineError &error) {
    if (error.code() == ErrorCode::OutputNotSound)
        throw;
    throw EngineError(ErrorCode::OutputNotSound, "The repaired file cannot be opened again.");
}
