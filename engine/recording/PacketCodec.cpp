#include "engine/recording/PacketCodec.h"

#include "engine/recording/PacketContent.h"
#include "engine/recording/PlainSound.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <optional>
#include <span>

namespace {

constexpr unsigned lengthSize = 4;
// Fewer could look like something by chance.
constexpr std::size_t leastSoundPackets = 8;
constexpr std::uint32_t anyStartCode = 1;
// Parameters are some hundred bytes; what is far longer only looks like them.
constexpr std::size_t longestSets = 64U << 10U;

/** What one key picture holds of units, each behind a start code. */
struct MarkedUnits
{
    Bytes all;
    Bytes sets;
    unsigned kindsOfSets = 0;
    bool hasPicture = false;
};

/** Sets of parameters by their place in a list, 0 for the first; none for other units. */
std::optional<unsigned> setKind(std::uint8_t header, bool isHevc)
{
    constexpr unsigned firstHevcSet = 32;
    constexpr unsigned firstAvcSet = 7;
    const unsigned type = isHevc ? header >> 1U & 0x3fU : header & 0x1fU;
    const unsigned first = isHevc ? firstHevcSet : firstAvcSet;
    const unsigned count = isHevc ? 3 : 2;
    return type >= first && type < first + count ? std::optional(type - first) : std::nullopt;
}

bool isPicture(std::uint8_t header, bool isHevc)
{
    constexpr unsigned lastHevcPicture = 21;
    constexpr unsigned lastAvcPicture = 5;
    const unsigned type = isHevc ? header >> 1U & 0x3fU : header & 0x1fU;
    return isHevc ? type <= lastHevcPicture : type > 0 && type <= lastAvcPicture;
}

void appendMarked(Bytes &target, ByteView unit)
{
    constexpr std::array<std::uint8_t, 4> mark = {0, 0, 0, anyStartCode};
    appendBytes(target, mark);
    appendBytes(target, unit);
}

/** None where the packet is no picture with all sets of parameters. */
std::optional<MarkedUnits> markedUnits(ByteView packet, bool isHevc)
{
    if (!PacketContent::isNalChain(packet, lengthSize, isHevc))
        return std::nullopt;
    MarkedUnits units;
    while (packet.size() > lengthSize) {
        const std::size_t size = be32(packet.data());
        const ByteView unit = packet.subspan(lengthSize, size);
        appendMarked(units.all, unit);
        if (const auto kind = setKind(unit[0], isHevc)) {
            appendMarked(units.sets, unit);
            units.kindsOfSets |= 1U << *kind;
        }
        units.hasPicture = units.hasPicture || isPicture(unit[0], isHevc);
        packet = packet.subspan(lengthSize + size);
    }
    const unsigned allKinds = isHevc ? 7 : 3;
    const bool isWhole =
        units.hasPicture && units.kindsOfSets == allKinds && units.sets.size() <= longestSets;
    return isWhole ? std::optional(std::move(units)) : std::nullopt;
}

Ffmpeg::PacketPtr packetOf(ByteView bytes)
{
    Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    if (av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
        throw std::bad_alloc();
    std::copy(bytes.begin(), bytes.end(), packet->data);
    return packet;
}

void setExtraData(AVCodecParameters &parameters, ByteView bytes)
{
    av_freep(&parameters.extradata);
    parameters.extradata =
        static_cast<std::uint8_t *>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata == nullptr)
        throw std::bad_alloc();
    std::copy(bytes.begin(), bytes.end(), parameters.extradata);
    parameters.extradata_size = static_cast<int>(bytes.size());
}

Ffmpeg::ParametersPtr makeParameters(AVCodecID codec)
{
    Ffmpeg::ParametersPtr parameters(avcodec_parameters_alloc());
    if (!parameters)
        throw std::bad_alloc();
    parameters->codec_id = codec;
    parameters->codec_type = avcodec_get_type(codec);
    return parameters;
}

bool isClean(const AVFrame &frame)
{
    return (frame.flags & AV_FRAME_FLAG_CORRUPT) == 0 && frame.decode_error_flags == 0;
}

/** Decodes packets one by one; every one of them must yield something without an error. */
class TrialDecoder
{
public:
    explicit TrialDecoder(const AVCodecParameters &parameters)
    {
        const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
        if (codec == nullptr)
            return;
        decoder.reset(avcodec_alloc_context3(codec));
        if (!decoder)
            throw std::bad_alloc();
        // Of MPEG audio, a first frame may need what stood before it: that is no error of its own.
        // Pictures tell of their errors themselves.
        if (parameters.codec_type == AVMEDIA_TYPE_AUDIO && parameters.codec_id != AV_CODEC_ID_MP3)
            decoder->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
        decoder->thread_count = 1;
        if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0 ||
            avcodec_open2(decoder.get(), codec, nullptr) < 0)
            decoder.reset();
    }

    bool decodes(std::span<const Bytes> packets)
    {
        if (!decoder)
            return false;
        for (const Bytes &bytes : packets) {
            if (avcodec_send_packet(decoder.get(), packetOf(bytes).get()) < 0 || !takeFrames())
                return false;
        }
        avcodec_send_packet(decoder.get(), nullptr);
        return takeFrames() && frames > 0;
    }

    /** What the decoder has found out. */
    Ffmpeg::ParametersPtr parameters() const
    {
        Ffmpeg::ParametersPtr found = makeParameters(decoder->codec_id);
        if (avcodec_parameters_from_context(found.get(), decoder.get()) < 0)
            throw std::bad_alloc();
        found->codec_tag = 0;
        return found;
    }

private:
    bool takeFrames()
    {
        const Ffmpeg::FramePtr frame = Ffmpeg::makeFrame();
        for (;;) {
            const int result = avcodec_receive_frame(decoder.get(), frame.get());
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
                return true;
            if (result < 0 || !isClean(*frame))
                return false;
            ++frames;
        }
    }

    Ffmpeg::CodecContextPtr decoder;
    int frames = 0;
};

/** Null where the decoder does not take them. */
Ffmpeg::ParametersPtr decodedParameters(const AVCodecParameters &assumed,
                                        std::span<const Bytes> packets)
{
    TrialDecoder decoder(assumed);
    return decoder.decodes(packets) ? decoder.parameters() : nullptr;
}

Ffmpeg::ParametersPtr tellUnits(const std::vector<Bytes> &packets, bool isHevc)
{
    const auto assumed = makeParameters(isHevc ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264);
    for (const Bytes &packet : packets) {
        const auto units = markedUnits(packet, isHevc);
        if (!units)
            continue;
        const Bytes decoded[] = {units->all};
        if (auto found = decodedParameters(*assumed, decoded)) {
            setExtraData(*found, units->sets);
            return found;
        }
    }
    return nullptr;
}

/** A codec whose packets begin with a mark of their own. */
struct MarkedCodec
{
    AVCodecID codec;
    bool (*mayBegin)(ByteView packet);
};

constexpr std::size_t longestMark = 8;

bool beginsMpegVideo(ByteView packet, std::uint8_t first, std::uint8_t last)
{
    return be24(packet.data()) == anyStartCode && packet[3] >= first && packet[3] <= last;
}

constexpr MarkedCodec pictureCodecs[] = {
    {AV_CODEC_ID_MJPEG, [](ByteView packet) { return be24(packet.data()) == 0xffd8ff; }},
    {AV_CODEC_ID_MPEG2VIDEO, [](ByteView packet) { return beginsMpegVideo(packet, 0xb3, 0xb3); }},
    {AV_CODEC_ID_MPEG4,
     [](ByteView packet) {
         return beginsMpegVideo(packet, 0xb0, 0xb0) || beginsMpegVideo(packet, 0, 0x2f);
     }},
    {AV_CODEC_ID_VP8,
     [](ByteView packet) { return (packet[0] & 1U) == 0 && be24(&packet[3]) == 0x9d012a; }},
    {AV_CODEC_ID_VP9,
     [](ByteView packet) { return packet[0] >> 6U == 2 && be24(&packet[1]) == 0x498342; }},
};

bool beginsMpegAudio(ByteView packet, unsigned layer)
{
    constexpr unsigned anyLayer = 4;
    return packet[0] == 0xff && (packet[1] & 0xe0U) == 0xe0 &&
           anyLayer - (packet[1] >> 1U & 3U) == layer;
}

constexpr MarkedCodec soundCodecs[] = {
    {AV_CODEC_ID_MP3, [](ByteView packet) { return beginsMpegAudio(packet, 3); }},
    {AV_CODEC_ID_MP2, [](ByteView packet) { return beginsMpegAudio(packet, 2); }},
    {AV_CODEC_ID_AC3,
     [](ByteView packet) { return be16(packet.data()) == 0x0b77 && packet[5] >> 3U <= 10; }},
    {AV_CODEC_ID_EAC3, [](ByteView packet) { return be16(packet.data()) == 0x0b77; }},
    {AV_CODEC_ID_DTS, [](ByteView packet) { return be32(packet.data()) == 0x7ffe8001; }},
};

Ffmpeg::ParametersPtr tellPictures(const std::vector<Bytes> &packets)
{
    for (const bool isHevc : {false, true}) {
        if (auto found = tellUnits(packets, isHevc))
            return found;
    }
    for (const Bytes &packet : packets) {
        for (const MarkedCodec &one : pictureCodecs) {
            if (packet.size() < longestMark || !one.mayBegin(packet))
                continue;
            const Bytes decoded[] = {packet};
            if (auto found = decodedParameters(*makeParameters(one.codec), decoded))
                return found;
        }
    }
    return nullptr;
}

Ffmpeg::ParametersPtr tellMarkedSound(const std::vector<Bytes> &packets)
{
    for (const MarkedCodec &one : soundCodecs) {
        const bool mayBe = std::all_of(packets.begin(), packets.end(), [&one](const Bytes &packet) {
            return packet.size() >= longestMark && one.mayBegin(packet);
        });
        if (!mayBe)
            continue;
        if (auto found = decodedParameters(*makeParameters(one.codec), packets))
            return found;
    }
    return nullptr;
}

/** Frames of AAC have no mark: how long they last tells their rate, and decoding them the rest. */
Ffmpeg::ParametersPtr tellAac(const UnknownStream &stream)
{
    constexpr double samplesPerFrame = 1024;
    constexpr double near = 0.01;
    constexpr std::array rates = {96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};
    constexpr std::uint32_t lowComplexity = 2;
    if (stream.secondsPerPacket <= 0)
        return nullptr;
    const double wanted = samplesPerFrame / stream.secondsPerPacket;
    for (std::uint32_t rate = 0; rate < rates.size(); ++rate) {
        if (std::abs(rates[rate] / wanted - 1) > near)
            continue;
        for (const std::uint32_t channels : {2U, 1U, 6U}) {
            Bytes configuration;
            appendBe(configuration, lowComplexity << 11U | rate << 7U | channels << 3U, 2);
            const auto assumed = makeParameters(AV_CODEC_ID_AAC);
            setExtraData(*assumed, configuration);
            if (auto found = decodedParameters(*assumed, stream.packets)) {
                setExtraData(*found, configuration);
                return found;
            }
        }
    }
    return nullptr;
}

/** Frames of AAC differ in size; chunks of plain sound, as recorders store it, hardly do. */
bool areOfOneSize(const std::vector<Bytes> &packets)
{
    constexpr std::size_t part = 64;
    const std::size_t size = packets.front().size();
    return std::all_of(packets.begin(), packets.end(), [size](const Bytes &packet) {
        return packet.size() + size / part >= size && packet.size() <= size + size / part;
    });
}

Ffmpeg::ParametersPtr tellPlainSound(const UnknownStream &stream)
{
    if (stream.secondsPerPacket <= 0 || !areOfOneSize(stream.packets))
        return nullptr;
    Bytes all;
    for (const Bytes &packet : stream.packets)
        appendBytes(all, packet);
    const double packetSize =
        static_cast<double>(all.size()) / static_cast<double>(stream.packets.size());
    const auto layout = plainSoundLayout(all, packetSize / stream.secondsPerPacket);
    if (!layout)
        return nullptr;
    auto found = makeParameters(layout->bytes == 2 ? AV_CODEC_ID_PCM_S16LE : AV_CODEC_ID_PCM_S24LE);
    found->sample_rate = layout->rate;
    found->bits_per_coded_sample = layout->bytes * 8;
    av_channel_layout_default(&found->ch_layout, layout->channels);
    return found;
}

} // namespace

Ffmpeg::ParametersPtr tellCodec(const UnknownStream &stream)
{
    for (const auto *packets : {&stream.keyPackets, &stream.packets}) {
        if (auto found = tellPictures(*packets))
            return found;
    }
    if (stream.packets.size() < leastSoundPackets)
        return nullptr;
    if (auto found = tellMarkedSound(stream.packets))
        return found;
    if (auto found = tellPlainSound(stream))
        return found;
    return tellAac(stream);
}
