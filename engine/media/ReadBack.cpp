#include "engine/media/ReadBack.h"

#include "engine/media/MediaInput.h"
#include "engine/recording/KeyPictures.h"
#include "engine/recording/Progress.h"
#include "engine/recording/SelfCheck.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <string_view>

namespace {

// Where packets are found by parsing, the reader may leave out a part at the start or the end.
constexpr std::uint64_t wholeParts = 100;
constexpr std::uint64_t neededParts = 99;

// Clocks of containers are coarse: so many microseconds are no other time.
constexpr std::int64_t timeTolerance = 20'000;
// Sound may be read in other pieces than it was written in.
constexpr std::int64_t spanTolerance = 500'000;

/** Containers that give back the bytes of each stream as they were put in. */
bool isVerbatim(const AVFormatContext &input, AVMediaType kind)
{
    const std::string_view name = input.iformat->name;
    return (kind == AVMEDIA_TYPE_VIDEO || kind == AVMEDIA_TYPE_AUDIO) &&
           (name == "avi" || name.starts_with("matroska") || name.find("flv") != name.npos);
}

/** One stream as it is read. */
struct FoundStream
{
    PacketDigest digest = {};
    std::uint64_t packets = 0;
    /** Shown or decoded at another time than written, counted from the first. */
    std::uint64_t mistimed = 0;
    std::optional<WrittenStream::Times> first = {};
    WrittenStream::Times last = {};
};

/** How far two times are from those that they are to be; none where too little is known. */
std::optional<std::int64_t> difference(const WrittenStream::Times &from,
                                       const WrittenStream::Times &to,
                                       const WrittenStream::Times &expectedFrom,
                                       const WrittenStream::Times &expectedTo)
{
    for (const auto time : {&WrittenStream::Times::shown, &WrittenStream::Times::decoded}) {
        if (from.*time != AV_NOPTS_VALUE && to.*time != AV_NOPTS_VALUE &&
            expectedFrom.*time != AV_NOPTS_VALUE && expectedTo.*time != AV_NOPTS_VALUE)
            return std::llabs((to.*time - from.*time) - (expectedTo.*time - expectedFrom.*time));
    }
    return std::nullopt;
}

class Comparison
{
public:
    Comparison(const std::string &path, const std::vector<WrittenStream> &streams)
        : input(path, TransportPackets::AsStored),
          written(streams),
          found(streams.size()),
          progress("checked", input.size())
    {
        // Times as they are stored, where they are.
        if (input.statesPacketSizes())
            input.context().flags |= AVFMT_FLAG_NOFILLIN;
    }

    void run()
    {
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        while (input.read(*packet)) {
            if (input.isIncomplete(*packet))
                throw notSound("it holds a packet that is not whole");
            progress.reach(static_cast<std::uint64_t>(std::max<std::int64_t>(packet->pos, 0)));
            // Empty ones stand for pictures that are not there.
            if (const auto index = indexOf(packet->stream_index); index && packet->size > 0) {
                markKey(*packet, *index);
                take(*packet, *index);
            }
            av_packet_unref(packet.get());
        }
        if (!input.isAtEnd())
            throw notSound("it cannot be read to its end");
        for (std::size_t i = 0; i < written.size(); ++i)
            compare(i);
        for (const auto &[stream, ofStream] : pictures) {
            if (ofStream.areAllBroken())
                throw EngineError(ErrorCode::NothingReadable,
                                  "What is left of the pictures cannot be decoded.");
        }
    }

private:
    /** Readers may number streams in the order in which they meet them. */
    std::optional<std::size_t> indexOf(int stream) const
    {
        const auto kindOf = [this](int index) {
            return input.context().streams[index]->codecpar->codec_type;
        };
        int ordinal = 0;
        for (int i = 0; i < stream; ++i)
            ordinal += kindOf(i) == kindOf(stream) ? 1 : 0;
        for (std::size_t i = 0; i < written.size(); ++i) {
            if (written[i].kind == kindOf(stream) && ordinal-- == 0)
                return i;
        }
        return std::nullopt;
    }

    /** Pieces of a transport stream do not say themselves which of them are key pictures. */
    void markKey(AVPacket &packet, std::size_t index) const
    {
        const auto &keys = written[index].keys;
        const std::uint64_t number = found[index].packets;
        if (input.transportPacketSize() > 0 && number < keys.size() &&
            keys[static_cast<std::size_t>(number)])
            packet.flags |= AV_PKT_FLAG_KEY;
    }

    void take(const AVPacket &packet, std::size_t index)
    {
        FoundStream &stream = found[index];
        const AVStream &source = *input.context().streams[packet.stream_index];
        stream.digest.addBytes({packet.data, static_cast<std::size_t>(packet.size)});
        const WrittenStream::Times times = timesOf(packet, source.time_base);
        if (!stream.first)
            stream.first = times;
        stream.last = times;
        const auto &expected = written[index].times;
        if (stream.packets < expected.size()) {
            const auto error =
                difference(*stream.first, times, expected.front(), expected[stream.packets]);
            stream.mistimed += error.value_or(0) > timeTolerance ? 1U : 0U;
        }
        ++stream.packets;
        if (written[index].kind == AVMEDIA_TYPE_VIDEO)
            pictures.try_emplace(packet.stream_index, source, expected.size())
                .first->second.see(packet);
    }

    void compare(std::size_t index) const
    {
        const WrittenStream &expected = written[index];
        const FoundStream &stream = found[index];
        const std::string name = " in stream " + std::to_string(index + 1);
        const std::uint64_t bytes = stream.digest.bytes();
        const bool isExact = input.statesPacketSizes() || input.transportPacketSize() > 0;
        const bool isWhole = isExact ? bytes >= expected.digest.bytes()
                                     : bytes * wholeParts >= expected.digest.bytes() * neededParts;
        if (expected.isRefused || expected.times.empty())
            return;
        if (!isWhole)
            throw notSound("bytes are missing" + name);
        if (isVerbatim(input.context(), expected.kind) &&
            stream.digest.bytesHash() != expected.digest.bytesHash())
            throw notSound("bytes differ" + name);
        if (expected.kind != AVMEDIA_TYPE_VIDEO && expected.kind != AVMEDIA_TYPE_AUDIO)
            return;
        // In as many packets as were written, each has its time; else, all of them their length.
        if (stream.packets == expected.times.size() &&
            stream.mistimed * wholeParts > stream.packets)
            throw notSound("times differ" + name);
        if (stream.first &&
            difference(*stream.first, stream.last, expected.times.front(), expected.times.back())
                    .value_or(0) > spanTolerance)
            throw notSound("it has another length" + name);
    }

    MediaInput input;
    const std::vector<WrittenStream> &written;
    std::vector<FoundStream> found;
    std::map<int, KeyPictures> pictures;
    Progress progress;
};

} // namespace

WrittenStream::Times timesOf(const AVPacket &packet, AVRational timeBase)
{
    const auto inMicroseconds = [timeBase](std::int64_t time) {
        constexpr AVRational microseconds = {1, AV_TIME_BASE};
        return time == AV_NOPTS_VALUE ? time : av_rescale_q(time, timeBase, microseconds);
    };
    return {.shown = inMicroseconds(packet.pts), .decoded = inMicroseconds(packet.dts)};
}

void readBack(const std::string &path, const std::vector<WrittenStream> &written)
try {
    Comparison(path, written).run();
} catch (const EngineError &error) {
    if (error.code() == ErrorCode::OutputNotSound || error.code() == ErrorCode::NothingReadable)
        throw;
    throw EngineError(ErrorCode::OutputNotSound, "The repaired file cannot be opened again.");
}
