#include "engine/recording/SelfCheck.h"

#include "engine/log/LogLine.h"
#include "engine/recording/KeyPictures.h"
#include "engine/recording/Progress.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace {

/** A picture that stands for the whole file, which FFmpeg's readers give as a stream. */
bool isCover(const AVStream &stream)
{
    return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

class Check
{
public:
    Check(const std::string &path, std::vector<ExpectedTrack> tracks)
        : input(openWritten(path)),
          streams(writtenStreams(*input)),
          expected(std::move(tracks)),
          found(expected.size()),
          progress("checked",
                   static_cast<std::uint64_t>(std::max<std::int64_t>(avio_size(input->pb), 0)))
    {
        if (streams.size() < expected.size())
            throw notSound("tracks are missing");
    }

    void run()
    {
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        int result = av_read_frame(input.get(), packet.get());
        for (; result >= 0; result = av_read_frame(input.get(), packet.get())) {
            take(*packet);
            av_packet_unref(packet.get());
        }
        if (result != AVERROR_EOF)
            throw notSound("it cannot be read to its end");
        for (std::size_t i = 0; i < expected.size(); ++i)
            compare(i);
        for (const auto &[stream, ofStream] : pictures) {
            if (ofStream.areAllBroken())
                throw notDecodable();
        }
    }

private:
    void take(const AVPacket &packet)
    {
        const AVStream &stream = *input->streams[packet.stream_index];
        if (isCover(stream))
            return;
        const auto index = static_cast<std::size_t>(
            std::find(streams.begin(), streams.end(), &stream) - streams.begin());
        if (index >= expected.size())
            throw notSound("there are tracks that were not written");
        if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0)
            throw notSound("a packet is not whole");
        PacketDigest &digest = found[index];
        if (expected[index].comparesBytes)
            digest.addBytes({packet.data, static_cast<std::size_t>(packet.size)});
        digest.addPacket(packet.pts, static_cast<std::uint64_t>(packet.size));
        progress.reach(static_cast<std::uint64_t>(std::max<std::int64_t>(packet.pos, 0)));
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            pictures.try_emplace(stream.index, stream, expected[index].digest.packets())
                .first->second.see(packet);
    }

    void compare(std::size_t index)
    {
        // Tracks that hold another's chapters are read with that one, not as packets.
        if (streams[index]->discard >= AVDISCARD_ALL)
            return;
        ExpectedTrack &track = expected[index];
        const std::string name = " in track " + std::to_string(index + 1);
        if (track.comparesPackets && found[index].packets() != track.digest.packets())
            throw notSound(std::to_string(found[index].packets()) + " packets instead of " +
                           std::to_string(track.digest.packets()) + name);
        if (track.comparesBytes && (found[index].bytes() != track.digest.bytes() ||
                                    found[index].bytesHash() != track.digest.bytesHash()))
            throw notSound("bytes differ" + name);
        if (track.comparesPackets && found[index].timesHash() != track.digest.timesHash())
            throw notSound("sizes or times differ" + name);
    }

    Ffmpeg::InputPtr input;
    std::vector<AVStream *> streams;
    std::vector<ExpectedTrack> expected;
    std::vector<PacketDigest> found;
    std::map<int, KeyPictures> pictures;
    Progress progress;
};

} // namespace

EngineError notSound(const std::string &why)
{
    logLine(TarnLogWarn, "self-check: " + why);
    return {ErrorCode::OutputNotSound,
            "The repaired file does not read back as it was written: " + why + "."};
}

EngineError notDecodable()
{
    return {ErrorCode::NothingReadable,
            "The file says where its pictures are, but what stands there cannot be decoded."};
}

Ffmpeg::InputPtr openWritten(const std::string &path)
{
    AVDictionary *options = nullptr;
    // Times as they are stored, not as an edit list shows them.
    av_dict_set(&options, "ignore_editlist", "1", 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext *opened = nullptr;
    const int result =
        avformat_open_input(&opened, Ffmpeg::fileUrl(path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0)
        throw notSound("it cannot be opened (" + Ffmpeg::errorText(result) + ")");
    // Packets as they are stored, not as parsers cut them.
    opened->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    return Ffmpeg::InputPtr(opened);
}

std::vector<AVStream *> writtenStreams(const AVFormatContext &input)
{
    std::vector<AVStream *> streams;
    std::copy_if(input.streams, input.streams + input.nb_streams, std::back_inserter(streams),
                 [](const AVStream *stream) { return !isCover(*stream); });
    return streams;
}

void checkOutput(const std::string &path, std::vector<ExpectedTrack> tracks)
{
    Check(path, std::move(tracks)).run();
}
