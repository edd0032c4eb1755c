#include "engine/media/QuickRepair.h"

#include "engine/EngineError.h"
#include "engine/media/AsideFile.h"
#include "engine/media/MediaInput.h"
#include "engine/media/MediaOutput.h"
#include "engine/media/ReadBack.h"

#include <set>

namespace {

RepairReport copyPackets(MediaInput &input, MediaOutput &output)
{
    RepairReport report;
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    std::set<int> leftOut;
    while (input.read(*packet)) {
        const int stream = packet->stream_index;
        if (!output.takes(stream))
            leftOut.insert(stream);
        // Half a packet at the place of the damage would come out as a broken picture.
        else if (!input.isIncomplete(*packet) && output.write(*packet))
            ++report.kept;
        else
            ++report.dropped;
        av_packet_unref(packet.get());
    }
    report.streamsLeftOut = static_cast<int>(leftOut.size());
    return report;
}

} // namespace

RepairReport quickRepair(const std::string &damagedPath, const std::string &outputPath)
{
    MediaInput input(damagedPath);
    const auto writer = writerFor(input.context(), outputPath);
    if (!writer)
        throw EngineError(ErrorCode::ContainerNotWritable,
                          std::string("Files of this kind can be read but not written: ") +
                              input.context().iformat->long_name);

    AsideFile aside(outputPath, damagedPath);
    MediaOutput output(input, aside.path(), *writer);
    const RepairReport report = copyPackets(input, output);
    if (report.kept == 0)
        throw EngineError(ErrorCode::NothingReadable,
                          "Nothing in the file can be read any more: " + damagedPath);
    output.finish();
    readBack(aside.path(), output.written());
    aside.publish();
    return report;
}
