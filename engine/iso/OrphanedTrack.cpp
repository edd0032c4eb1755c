#include "engine/iso/OrphanedTrack.h"

#include "engine/iso/IndexWriter.h"
#include "engine/iso/SampleTables.h"
#include "engine/iso/TrackTables.h"
#include "engine/media/Ffmpeg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <string_view>

namespace {

// The tables of a track of some hours.
constexpr std::uint64_t longestSearch = 16U << 20U;

// Pictures in a second.
constexpr AVRational usualRates[] = {{25, 1},       {30, 1},       {24, 1}, {50, 1},      {60, 1},
                                     {30000, 1001}, {24000, 1001}, {15, 1}, {60000, 1001}};

constexpr std::array tableTypes = {fourCc("stts"), fourCc("ctts"), fourCc("stsc"), fourCc("stsz"),
                                   fourCc("stz2"), fourCc("stco"), fourCc("co64"), fourCc("stss"),
                                   fourCc("sdtp"), fourCc("sgpd"), fourCc("sbgp"), fourCc("cslg"),
                                   fourCc("subs"), fourCc("stps")};

/** The first box of this type in a range of the file, that ends in it. */
std::optional<Box> searchBox(const SourceFile &source, const Bytes &content, std::uint64_t from,
                             const char *type)
{
    constexpr std::size_t sizeField = 4;
    const std::string_view text(reinterpret_cast<const char *>(content.data()), content.size());
    for (std::size_t place = text.find(type, sizeField); place != std::string_view::npos;
         place = text.find(type, place + 1)) {
        const auto box = readBox(source, from + place - sizeField, from + content.size());
        if (box && !box->isCut)
            return box;
    }
    return std::nullopt;
}

std::vector<Box> tablesFrom(const SourceFile &source, const Box &first, std::uint64_t to)
{
    std::vector<Box> tables;
    for (const Box &box : readBoxes(source, first.offset, to)) {
        if (std::find(tableTypes.begin(), tableTypes.end(), box.type) == tableTypes.end())
            break;
        tables.push_back(box);
    }
    return tables;
}

constexpr FourCc jpeg = fourCc("jpeg");

/** What a decoder says of the first key picture. */
struct PictureFacts
{
    int width = 0;
    int height = 0;
    AVRational rate = {0, 1};
};

PictureFacts decodeFirstPicture(const SourceFile &source, const IsoTrack &track,
                                const Bytes &parameters)
{
    PictureFacts facts;
    const AVCodec *codec = avcodec_find_decoder(track.codecType == jpeg ? AV_CODEC_ID_MJPEG
                                                : track.isHevc          ? AV_CODEC_ID_HEVC
                                                                        : AV_CODEC_ID_H264);
    const auto key = std::find_if(track.packets.begin(), track.packets.end(),
                                  [](const Packet &packet) { return packet.isKey != 0; });
    const Ffmpeg::CodecContextPtr decoder(avcodec_alloc_context3(codec));
    if (codec == nullptr || !decoder || key == track.packets.end())
        return facts;
    decoder->extradata =
        static_cast<std::uint8_t *>(av_mallocz(parameters.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    const Bytes bytes = source.copy(key->offset, std::min<std::uint64_t>(key->size, largestPacket));
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    if (decoder->extradata == nullptr ||
        av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
        throw std::bad_alloc();
    std::copy(parameters.begin(), parameters.end(), decoder->extradata);
    decoder->extradata_size = static_cast<int>(parameters.size());
    std::copy(bytes.begin(), bytes.end(), packet->data);
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return facts;
    const Ffmpeg::FramePtr frame = Ffmpeg::makeFrame();
    avcodec_send_packet(decoder.get(), packet.get());
    avcodec_send_packet(decoder.get(), nullptr);
    if (avcodec_receive_frame(decoder.get(), frame.get()) >= 0)
        facts = {.width = frame->width, .height = frame->height, .rate = decoder->framerate};
    return facts;
}

/** Sample description of a video track: its fixed fields, and the codec's parameters. */
Bytes makeDescription(const IsoTrack &track, const PictureFacts &facts, const Bytes &parameterBox)
{
    Bytes entry;
    appendBe(entry, 1, 8);
    appendBe(entry, 0, 16);
    appendBe(entry, static_cast<std::uint64_t>(facts.width), 2);
    appendBe(entry, static_cast<std::uint64_t>(facts.height), 2);
    appendBe(entry, 0x00480000, 4);
    appendBe(entry, 0x00480000, 4);
    appendBe(entry, 0, 4);
    appendBe(entry, 1, 2);
    appendBe(entry, 0, 32);
    appendBe(entry, 24, 2);
    appendBe(entry, 0xffff, 2);
    appendBytes(entry, parameterBox);
    Bytes list;
    appendBe(list, 1, 8);
    appendBytes(list, makeBox(track.codecType, entry));
    return makeBox(fourCc("stsd"), list);
}

/** The usual rate that pictures have which last so long together. */
AVRational rateBy(std::size_t pictures, double seconds)
{
    if (seconds <= 0)
        return usualRates[0];
    const double rate = static_cast<double>(pictures) / seconds;
    return *std::min_element(std::begin(usualRates), std::end(usualRates),
                             [rate](AVRational a, AVRational b) {
                                 return std::abs(av_q2d(a) - rate) < std::abs(av_q2d(b) - rate);
                             });
}

/** Units of time in a second, from how many pictures are shown in one. */
std::int64_t timescaleFor(const IsoTrack &track, AVRational rate, double seconds)
{
    if (track.packets.size() < 2)
        return track.timescale;
    const std::int64_t step = track.packets[1].time - track.packets[0].time;
    if (rate.num <= 0 || rate.den <= 0)
        rate = rateBy(track.packets.size(), seconds);
    constexpr double finest = std::numeric_limits<std::int32_t>::max();
    return std::llround(std::clamp(static_cast<double>(step) * av_q2d(rate), 1.0, finest));
}

/** Sets what the codec's parameters tell; false when neither they nor the pictures do. */
bool setCodec(const SourceFile &source, const std::optional<Box> &parameters, IsoTrack &track)
{
    constexpr std::uint64_t leastParameters = 23;
    if (!parameters) {
        const ByteView start = source.view(track.packets[0].offset, 2);
        track.codecType = jpeg;
        return start.size() == 2 && be16(start.data()) == 0xffd8;
    }
    track.isHevc = parameters->type == fourCc("hvcC");
    track.codecType = track.isHevc ? fourCc("hvc1") : fourCc("avc1");
    const ByteView bytes = source.view(parameters->body(), leastParameters);
    if (bytes.size() < leastParameters)
        return false;
    track.nalLengthSize = (bytes[track.isHevc ? leastParameters - 2 : 4] & 3U) + 1;
    return true;
}

/** Its edit list is lost: the first picture is shown at once, as by those that recorders write. */
void startAtOnce(IsoTrack &track)
{
    constexpr std::size_t mostReordered = 32;
    std::int64_t first = track.packets[0].time + track.packets[0].compositionOffset;
    for (std::size_t i = 0; i < std::min(mostReordered, track.packets.size()); ++i)
        first = std::min(first, track.packets[i].time + track.packets[i].compositionOffset);
    for (Packet &packet : track.packets)
        packet.showEarlier(first);
    track.startsAtFirst = true;
}

} // namespace

std::optional<IsoTrack> readOrphanedTrack(const SourceFile &source, std::uint64_t from,
                                          std::uint64_t to, double seconds)
{
    const Bytes content = source.copy(from, std::min(to - from, longestSearch));
    const auto durations = searchBox(source, content, from, "stts");
    auto parameters = searchBox(source, content, from, "avcC");
    if (!parameters)
        parameters = searchBox(source, content, from, "hvcC");
    if (!durations || (parameters && parameters->end > durations->offset))
        return std::nullopt;
    IsoTrack track;
    track.kind = TrackKind::Video;
    track.handler = fourCc("vide");
    track.tables = findSampleTables(tablesFrom(source, *durations, from + content.size()));
    if (!hasSampleTables(track.tables))
        return std::nullopt;
    readSampleTables(source, track, mostPackets(source.size()));
    if (track.packets.empty() || !setCodec(source, parameters, track))
        return std::nullopt;
    track.codec = textOf(track.codecType);

    const Bytes codecData =
        parameters ? source.copy(parameters->body(), parameters->bodySize()) : Bytes();
    const PictureFacts facts = decodeFirstPicture(source, track, codecData);
    if (facts.width == 0)
        return std::nullopt;
    track.madeWidth = static_cast<std::uint32_t>(facts.width);
    track.madeHeight = static_cast<std::uint32_t>(facts.height);
    track.madeDescription = makeDescription(
        track, facts,
        parameters ? source.copy(parameters->offset, parameters->end - parameters->offset)
                   : Bytes());
    const auto header = searchBox(source, content, from, "mdhd");
    const ByteView scale = header ? source.view(header->body(), 16) : ByteView();
    track.timescale = scale.size() == 16 && scale[0] == 0 && be32(&scale[12]) > 0
                          ? be32(&scale[12])
                          : timescaleFor(track, facts.rate, seconds);
    startAtOnce(track);
    return track;
}

void appendMadeTrack(Bytes &target, const IsoTrack &track, std::int64_t movieDuration,
                     std::int64_t mediaDuration)
{
    Bytes header;
    constexpr std::uint32_t isShown = 3;
    appendHeaderTimes(header, isShown, static_cast<std::uint64_t>(track.id) << 32U, 8,
                      movieDuration);
    appendBe(header, 0, 16);
    for (const std::uint32_t number :
         {0x00010000U, 0U, 0U, 0U, 0x00010000U, 0U, 0U, 0U, 0x40000000U, track.madeWidth << 16U,
          track.madeHeight << 16U})
        appendBe(header, number, 4);

    Bytes mediaHeader;
    appendHeaderTimes(mediaHeader, 0, static_cast<std::uint64_t>(track.timescale), 4,
                      mediaDuration);
    constexpr std::uint64_t undetermined = 0x55c4;
    appendBe(mediaHeader, undetermined, 2);
    appendBe(mediaHeader, 0, 2);

    Bytes handler;
    appendBe(handler, 0, 8);
    appendBe(handler, track.handler, 4);
    appendBe(handler, 0, 13);

    Bytes videoHeader;
    appendBe(videoHeader, 1, 12);
    Bytes references;
    appendBe(references, 1, 8);
    Bytes sameFile;
    appendBe(sameFile, 1, 4);
    appendBytes(references, makeBox(fourCc("url "), sameFile));

    Bytes tables = track.madeDescription;
    appendTrackTables(tables, track);
    Bytes information = makeBox(fourCc("vmhd"), videoHeader);
    appendBytes(information, makeBox(fourCc("dinf"), makeBox(fourCc("dref"), references)));
    appendBytes(information, makeBox(fourCc("stbl"), tables));
    Bytes media = makeBox(fourCc("mdhd"), mediaHeader);
    appendBytes(media, makeBox(fourCc("hdlr"), handler));
    appendBytes(media, makeBox(fourCc("minf"), information));
    Bytes whole = makeBox(fourCc("tkhd"), header);
    appendBytes(whole, makeBox(fourCc("mdia"), media));
    appendBytes(target, makeBox(fourCc("trak"), whole));
}
