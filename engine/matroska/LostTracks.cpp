#include "engine/matroska/LostTracks.h"

#include "engine/EngineError.h"
#include "engine/matroska/Block.h"
#include "engine/matroska/TrackEntries.h"
#include "engine/recording/PacketCodec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned lengthSize = 4;
// Descriptions stand before the media; what is attached, behind.
constexpr std::uint64_t longestHead = 1U << 20U;

const char *matroskaName(AVCodecID codec)
{
    constexpr std::pair<AVCodecID, const char *> names[] = {
        {AV_CODEC_ID_H264, "V_MPEG4/ISO/AVC"},
        {AV_CODEC_ID_HEVC, "V_MPEGH/ISO/HEVC"},
        {AV_CODEC_ID_MJPEG, "V_MJPEG"},
        {AV_CODEC_ID_MPEG1VIDEO, "V_MPEG1"},
        {AV_CODEC_ID_MPEG2VIDEO, "V_MPEG2"},
        {AV_CODEC_ID_MPEG4, "V_MPEG4/ISO/ASP"},
        {AV_CODEC_ID_VP8, "V_VP8"},
        {AV_CODEC_ID_VP9, "V_VP9"},
        {AV_CODEC_ID_MP3, "A_MPEG/L3"},
        {AV_CODEC_ID_MP2, "A_MPEG/L2"},
        {AV_CODEC_ID_AC3, "A_AC3"},
        {AV_CODEC_ID_EAC3, "A_EAC3"},
        {AV_CODEC_ID_DTS, "A_DTS"},
        {AV_CODEC_ID_AAC, "A_AAC"},
        {AV_CODEC_ID_PCM_S16LE, "A_PCM/INT/LIT"},
        {AV_CODEC_ID_PCM_S24LE, "A_PCM/INT/LIT"}};
    const auto *found = std::find_if(std::begin(names), std::end(names),
                                     [codec](const auto &one) { return one.first == codec; });
    return found != std::end(names) ? found->second : nullptr;
}

/**
 * Parameter sets that stand behind start codes, each once. None where one of them is longer than a
 * record can say.
 */
std::vector<ByteView> splitSets(ByteView marked)
{
    constexpr std::size_t longestSet = 0xffff;
    // Of each kind, records have room for 31 at least.
    constexpr std::size_t mostSets = 31;
    std::vector<ByteView> sets;
    const auto isMark = [&marked](std::size_t i) {
        return i + lengthSize <= marked.size() && be32(&marked[i]) == 1;
    };
    for (std::size_t i = 0; isMark(i);) {
        std::size_t end = i + lengthSize;
        while (end < marked.size() && !isMark(end))
            ++end;
        const ByteView set = marked.subspan(i + lengthSize, end - i - lengthSize);
        const bool isKnown = std::any_of(sets.begin(), sets.end(), [&set](ByteView other) {
            return std::equal(set.begin(), set.end(), other.begin(), other.end());
        });
        if (set.size() > longestSet)
            return {};
        if (!isKnown && sets.size() < mostSets)
            sets.push_back(set);
        i = end;
    }
    return sets;
}

std::vector<ByteView> setsOfType(const std::vector<ByteView> &sets, unsigned type, bool isHevc)
{
    std::vector<ByteView> found;
    std::copy_if(sets.begin(), sets.end(), std::back_inserter(found), [=](ByteView set) {
        return !set.empty() && (isHevc ? set[0] >> 1U & 0x3fU : set[0] & 0x1fU) == type;
    });
    return found;
}

void appendSets(Bytes &target, const std::vector<ByteView> &sets)
{
    for (const ByteView set : sets) {
        appendBe(target, set.size(), 2);
        appendBytes(target, set);
    }
}

/** The record that "avcC" holds as well. */
Bytes avcRecord(const std::vector<ByteView> &sets)
{
    constexpr unsigned sequenceSet = 7;
    constexpr unsigned pictureSet = 8;
    constexpr std::size_t leastSize = 4;
    const auto sequences = setsOfType(sets, sequenceSet, false);
    const auto pictures = setsOfType(sets, pictureSet, false);
    if (sequences.empty() || sequences[0].size() < leastSize || pictures.empty())
        return {};
    // Version, profile, compatibility, level.
    Bytes record = {1, sequences[0][1], sequences[0][2], sequences[0][3], 0xfc | (lengthSize - 1)};
    record.push_back(byteOf(0xe0 | sequences.size(), 0));
    appendSets(record, sequences);
    record.push_back(byteOf(pictures.size(), 0));
    appendSets(record, pictures);
    return record;
}

/** Without the bytes that keep start codes out of a unit. */
Bytes withoutEscapes(ByteView unit)
{
    constexpr std::uint8_t inserted = 3;
    Bytes bytes;
    int zeros = 0;
    for (const std::uint8_t byte : unit) {
        const bool isInserted = byte == inserted && zeros >= 2;
        if (!isInserted)
            bytes.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return bytes;
}

/** The record that "hvcC" holds as well. */
Bytes hevcRecord(const std::vector<ByteView> &sets, const AVCodecParameters &parameters)
{
    constexpr unsigned firstSet = 32;
    constexpr unsigned lastSet = 34;
    // Header of the unit, and a byte of the video set's number and of how many layers there are.
    constexpr std::size_t profilePlace = 3;
    constexpr std::size_t profileSize = 12;
    const auto sequences = setsOfType(sets, firstSet + 1, true);
    const auto *pixels = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
    const Bytes sequence = sequences.empty() ? Bytes() : withoutEscapes(sequences[0]);
    if (sequence.size() < profilePlace + profileSize || pixels == nullptr)
        return {};
    Bytes record = {1};
    appendBytes(record, ByteView(sequence).subspan(profilePlace, profileSize));
    // Nothing is said of segments and threads.
    appendBe(record, 0xf000, 2);
    record.push_back(0xfc);
    const unsigned chroma = pixels->nb_components == 1   ? 0U
                            : pixels->log2_chroma_h != 0 ? 1U
                            : pixels->log2_chroma_w != 0 ? 2U
                                                         : 3U;
    const auto depth = static_cast<unsigned>(pixels->comp[0].depth - 8);
    record.push_back(byteOf(0xfc | chroma, 0));
    record.push_back(byteOf(0xf8 | depth, 0));
    record.push_back(byteOf(0xf8 | depth, 0));
    appendBe(record, 0, 2);
    const unsigned layers = (sequence[2] >> 1U & 7U) + 1;
    const unsigned isNested = sequence[2] & 1U;
    record.push_back(byteOf(layers << 3U | isNested << 2U | (lengthSize - 1), 0));
    record.push_back(lastSet - firstSet + 1);
    for (unsigned type = firstSet; type <= lastSet; ++type) {
        const auto ofType = setsOfType(sets, type, true);
        record.push_back(byteOf(0x80 | type, 0));
        appendBe(record, ofType.size(), 2);
        appendSets(record, ofType);
    }
    return record;
}

Bytes privateData(const AVCodecParameters &parameters)
{
    const ByteView extra(parameters.extradata, static_cast<std::size_t>(parameters.extradata_size));
    switch (parameters.codec_id) {
    case AV_CODEC_ID_H264:
        return avcRecord(splitSets(extra));
    case AV_CODEC_ID_HEVC:
        return hevcRecord(splitSets(extra), parameters);
    case AV_CODEC_ID_AAC:
        return {extra.begin(), extra.end()};
    default:
        return {};
    }
}

void appendTextElement(Bytes &target, std::uint32_t id, std::string_view text)
{
    appendElement(target, id, {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
}

void appendReal(Bytes &target, std::uint32_t id, double number)
{
    Bytes bytes;
    appendBe(bytes, std::bit_cast<std::uint64_t>(number), sizeof number);
    appendElement(target, id, bytes);
}

Bytes pictureFields(const AVCodecParameters &parameters)
{
    Bytes fields;
    appendNumber(fields, MatroskaId::pixelWidth, static_cast<std::uint64_t>(parameters.width));
    appendNumber(fields, MatroskaId::pixelHeight, static_cast<std::uint64_t>(parameters.height));
    const AVRational ratio = parameters.sample_aspect_ratio;
    if (ratio.num > 0 && ratio.den > 0 && ratio.num != ratio.den) {
        // Shown as wide as its height and the shape of its pixels want.
        const std::int64_t width = av_rescale(parameters.width, ratio.num, ratio.den);
        appendNumber(fields, MatroskaId::displayWidth, static_cast<std::uint64_t>(width));
        appendNumber(fields, MatroskaId::displayHeight,
                     static_cast<std::uint64_t>(parameters.height));
    }
    return fields;
}

Bytes soundFields(const AVCodecParameters &parameters)
{
    Bytes fields;
    appendReal(fields, MatroskaId::samplingFrequency, parameters.sample_rate);
    appendNumber(fields, MatroskaId::channels,
                 static_cast<std::uint64_t>(parameters.ch_layout.nb_channels));
    if (const int bits = av_get_exact_bits_per_sample(parameters.codec_id); bits > 0)
        appendNumber(fields, MatroskaId::bitDepth, static_cast<std::uint64_t>(bits));
    return fields;
}

/** A description of a track; empty where the container has no name for the codec. */
Bytes makeEntry(std::uint64_t number, const AVCodecParameters &parameters)
{
    constexpr std::uint64_t videoType = 1;
    constexpr std::uint64_t audioType = 2;
    const bool isVideo = parameters.codec_type == AVMEDIA_TYPE_VIDEO;
    const Bytes data = privateData(parameters);
    const char *name = matroskaName(parameters.codec_id);
    const bool needsData = parameters.extradata_size > 0;
    if (name == nullptr || (needsData && data.empty()))
        return {};
    Bytes fields;
    appendNumber(fields, MatroskaId::trackNumber, number);
    appendNumber(fields, MatroskaId::trackUid, number);
    appendNumber(fields, MatroskaId::trackType, isVideo ? videoType : audioType);
    appendTextElement(fields, MatroskaId::codecId, name);
    if (!data.empty())
        appendElement(fields, MatroskaId::codecPrivate, data);
    appendElement(fields, isVideo ? MatroskaId::video : MatroskaId::audio,
                  isVideo ? pictureFields(parameters) : soundFields(parameters));
    Bytes entry;
    appendElement(entry, MatroskaId::trackEntry, fields);
    return entry;
}

/** Entries by the numbers of the tracks that they describe. */
using Entries = std::map<std::uint64_t, Element>;

/** Single descriptions that are left where the list of all has lost its beginning. */
Entries entriesIn(const SourceFile &source, std::uint64_t from, std::uint64_t to)
{
    // Of one description: what looks like one may stand at every place.
    constexpr std::size_t mostFields = 64;
    Entries found;
    for (std::uint64_t position = from; position < to;) {
        const auto entry = readElement(source, position, to);
        const auto fields =
            entry && entry->id == MatroskaId::trackEntry && !entry->isCut && !entry->isOpen
                ? childrenOf(source, *entry, mostFields)
                : std::vector<Element>();
        const auto number = findElement(fields, MatroskaId::trackNumber);
        const bool isWhole = number && fields.back().end == entry->end && !fields.back().isCut &&
                             findElement(fields, MatroskaId::trackType) &&
                             findElement(fields, MatroskaId::codecId);
        if (isWhole)
            found.emplace(numberOf(source, *number), *entry);
        position = isWhole ? entry->end : position + 1;
    }
    return found;
}

/** Frames of the first packets and of key pictures. */
UnknownStream streamOf(const SourceFile &source, const MatroskaTrack &track, double secondsPerBlock)
{
    constexpr std::size_t mostPackets = 24;
    constexpr std::size_t mostKeyPackets = 4;
    constexpr std::size_t mostBytes = std::size_t{32} << 20U;
    constexpr std::size_t mostBlocks = 2000;
    UnknownStream stream;
    std::size_t frames = 0;
    std::size_t blocks = 0;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < std::min(track.packets.size(), mostBlocks); ++i) {
        const Packet &packet = track.packets[i];
        const bool wantsKey = packet.isKey != 0 && stream.keyPackets.size() < mostKeyPackets;
        if ((stream.packets.size() >= mostPackets && !wantsKey) || bytes > mostBytes)
            continue;
        const Bytes element = source.copy(packet.offset, packet.size);
        bytes += element.size();
        ++blocks;
        for (const ByteView frame : singleFrames(element)) {
            ++frames;
            if (wantsKey)
                stream.keyPackets.emplace_back(frame.begin(), frame.end());
            if (stream.packets.size() < mostPackets)
                stream.packets.emplace_back(frame.begin(), frame.end());
        }
    }
    if (frames > 0)
        stream.secondsPerPacket =
            secondsPerBlock * static_cast<double>(blocks) / static_cast<double>(frames);
    return stream;
}

/** Gives a track what its description says. */
void describe(MatroskaTrack &track, const MatroskaTrack &description)
{
    track.kind = description.kind;
    track.codec = description.codec;
    track.content = description.content;
    track.isVerbatim = description.isVerbatim;
    track.isReadOtherwise = description.isReadOtherwise;
    track.isStream = description.isStream;
}

void describe(MatroskaTrack &track, const AVCodecParameters &parameters)
{
    track.kind = parameters.codec_type == AVMEDIA_TYPE_VIDEO ? TrackKind::Video : TrackKind::Audio;
    track.codec = matroskaName(parameters.codec_id);
    const bool hasUnits =
        parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC;
    setContent(track, hasUnits ? lengthSize : 0);
}

} // namespace

void describeLostTracks(const SourceFile &source, const std::vector<double> &secondsPerBlock,
                        const std::optional<Element> &late, MatroskaRecording &recording)
{
    const std::uint64_t head =
        recording.clusters.empty() ? 0 : std::min(recording.clusters[0].offset, longestHead);
    Entries entries = entriesIn(source, 0, head);
    if (late)
        entries.merge(
            entriesIn(source, late->body(), std::min(late->end, late->body() + longestHead)));
    Bytes list;
    bool hasPictures = false;
    bool isAllTold = true;
    for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
        MatroskaTrack &track = recording.tracks[i];
        track.timescale = timescaleOf(recording.timestampScale);
        track.lastDuration =
            std::llround(secondsPerBlock[i] * static_cast<double>(track.timescale));
        Bytes entry;
        if (const auto own = entries.find(track.number); own != entries.end()) {
            entry = source.copy(own->second.offset, own->second.size());
            if (const auto read = readTrackEntry(source, own->second, recording.timestampScale))
                describe(track, *read);
        } else if (const auto told = tellCodec(streamOf(source, track, secondsPerBlock[i]))) {
            entry = makeEntry(track.number, *told);
            if (!entry.empty())
                describe(track, *told);
        }
        track.isDescribed = !entry.empty();
        for (Packet &packet : track.packets)
            packet.setLost(!track.isDescribed);
        hasPictures = hasPictures || track.kind == TrackKind::Video;
        isAllTold = isAllTold && track.isDescribed;
        appendBytes(list, entry);
    }
    if (list.empty() || (!hasPictures && !isAllTold))
        throw EngineError(ErrorCode::NotRecognised,
                          "Nothing says how the pictures are coded: " + source.path());
    appendElement(recording.madeTracks, MatroskaId::tracks, list);
}
