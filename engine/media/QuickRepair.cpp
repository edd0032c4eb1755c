#include "engine/media/QuickRepair.h"

#include "engine/EngineError.h"
#include "engine/media/AsideFile.h"
#include "engine/media/MediaInput.h"
#include "engine/media/MediaOutput.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace {

void requireOtherFile(const std::string &input, const std::string &output)
{
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::equivalent(fs::path(reinterpret_cast<const char8_t *>(input.c_str())),
                       fs::path(reinterpret_cast<const char8_t *>(output.c_str())), error))
        throw EngineError(ErrorCode::BadRequest,
                          "The output would replace the damaged file itself: " + input);
}

RepairReport copyPackets(MediaInput &input, MediaOutput &output)
{
    RepairReport report;
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    while (input.read(*packet)) {
        // Half a packet at the place of the damage would come out as a broken picture.
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
            ++report.dropped;
        } else if (output.takes(packet->stream_index)) {
            output.write(*packet);
            ++report.kept;
        }
        av_packet_unref(packet.get());
    }
    return report;
}

/** Throws OutputNotSound unless every stream that was written can be read again to its end. */
void readBack(const std::string &path, const std::vector<std::int64_t> &written)
{
    MediaInput output(path);
    std::vector<std::int64_t> read(output.context().nb_streams, 0);
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    bool damaged = false;
    while (output.read(*packet)) {
        damaged = damaged || (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        ++read[static_cast<std::size_t>(packet->stream_index)];
        av_packet_unref(packet.get());
        // Some containers find their streams only on the way.
        read.resize(std::max<std::size_t>(read.size(), output.context().nb_streams), 0);
    }
    // Compared as a whole and not by index: a container may number its streams anew.
    const auto isUsed = [](std::int64_t count) { return count > 0; };
    if (damaged || std::ranges::count_if(read, isUsed) < std::ranges::count_if(written, isUsed))
        throw EngineError(ErrorCode::OutputNotSound,
                          "The repaired file does not read back as it was written.");
}

} // namespace

RepairReport quickRepair(const std::string &damagedPath, const std::string &outputPath)
{
    MediaInput input(damagedPath);
    requireOtherFile(damagedPath, outputPath);
    const auto writer = writerFor(input.context(), outputPath);
    if (!writer)
        throw EngineError(ErrorCode::ContainerNotWritable,
                          std::string("Files of this kind can be read but not written: ") +
                              input.context().iformat->long_name);

    AsideFile aside(outputPath);
    MediaOutput output(input, aside.path(), *writer);
    const RepairReport report = copyPackets(input, output);
    if (report.kept == 0)
        throw EngineError(ErrorCode::NothingReadable,
                          "Nothing in the file can be read any more: " + damagedPath);
    output.finish();
    readBack(aside.path(), output.packetCounts());
    aside.publish();
    return report;
}
