#include "engine/iso/TrackHeaders.h"

#include "engine/iso/SampleTables.h"

#include <algorithm>
#include <cmath>

namespace {

// Sample descriptions hold codec parameters, of some hundred bytes; pictures in them are rare.
constexpr std::uint64_t longestDescription = 1U << 20U;

/** Version 1 of a header has times of 64 bits. */
bool isLongVersion(ByteView body)
{
    return !body.empty() && body[0] == 1;
}

/** A header's field at `shortPlace` of version 0, at `longPlace` of version 1. */
std::uint64_t headerField(ByteView body, std::size_t shortPlace, std::size_t longPlace, bool isTime)
{
    const bool isLong = isLongVersion(body);
    const std::size_t place = isLong ? longPlace : shortPlace;
    const std::size_t width = isLong && isTime ? 8 : 4;
    if (body.size() < place + width)
        return 0;
    return width == 8 ? be64(&body[place]) : be32(&body[place]);
}

/** Durations of all ones mean "unknown". */
std::int64_t knownDuration(std::uint64_t value)
{
    constexpr std::uint64_t longest = 1ULL << 50U;
    return value < longest && value != 0xffffffffU ? static_cast<std::int64_t>(value) : 0;
}

void readTrackHeader(const SourceFile &source, const Box &box, IsoTrack &track)
{
    const ByteView body = source.view(
        box.body(), static_cast<std::size_t>(std::min<std::uint64_t>(box.bodySize(), 96)));
    track.id = static_cast<std::uint32_t>(headerField(body, 12, 20, false));
    track.statedMovieDuration = knownDuration(headerField(body, 20, 28, true));
}

void readMediaHeader(const SourceFile &source, const Box &box, IsoTrack &track)
{
    const ByteView body = source.view(
        box.body(), static_cast<std::size_t>(std::min<std::uint64_t>(box.bodySize(), 36)));
    track.timescale = static_cast<std::int64_t>(headerField(body, 12, 20, false));
    track.statedDuration = knownDuration(headerField(body, 16, 24, true));
}

void readHandler(const SourceFile &source, const Box &box, IsoTrack &track, bool &isQuickTime)
{
    const ByteView body = source.view(box.body(), 12);
    if (body.size() < 12)
        return;
    track.handler = be32(&body[8]);
    if (track.handler == fourCc("vide"))
        track.kind = TrackKind::Video;
    else if (track.handler == fourCc("soun"))
        track.kind = TrackKind::Audio;
    // Only QuickTime names the component's type there.
    isQuickTime = isQuickTime || be32(&body[4]) == fourCc("mhlr");
}

/** The boxes in a sample description, behind its fixed fields. */
std::vector<Box> descriptionBoxes(const SourceFile &source, const Box &entry, const IsoTrack &track)
{
    constexpr std::uint64_t videoFields = 78;
    constexpr std::uint64_t soundFields = 28;
    std::uint64_t fields = videoFields;
    if (track.kind == TrackKind::Audio) {
        const ByteView version = source.view(entry.body() + 8, 2);
        fields = soundFields;
        if (version.size() == 2 && be16(version.data()) == 1)
            fields += 16;
        else if (version.size() == 2 && be16(version.data()) == 2)
            fields += 36;
    }
    return readBoxes(source, entry.body() + fields, entry.end);
}

void readVideoDescription(const SourceFile &source, const Box &entry, IsoTrack &track)
{
    const auto boxes = descriptionBoxes(source, entry, track);
    // Where the two lowest bits, plus one, are the size of a NAL unit's length.
    constexpr std::uint64_t avcPlace = 4;
    constexpr std::uint64_t hevcPlace = 21;
    const auto avc = findBox(boxes, fourCc("avcC"));
    const auto hevc = findBox(boxes, fourCc("hvcC"));
    track.isHevc = !avc && hevc;
    if (const auto &box = avc ? avc : hevc) {
        const ByteView byte = source.view(box->body() + (avc ? avcPlace : hevcPlace), 1);
        if (!byte.empty())
            track.nalLengthSize = (byte[0] & 3U) + 1;
    }
}

/** What sound of fixed rate is made of. */
struct SoundUnit
{
    std::uint32_t bytes = 0;
    /** Of each channel. */
    std::uint32_t samples = 1;
};

/** Sound whose units are known, whatever its description says of them. */
struct CodedSound
{
    FourCc type;
    std::uint32_t bytesPerChannel;
    std::uint32_t samples;
};

constexpr CodedSound codedSounds[] = {
    {fourCc("ulaw"), 1, 1}, {fourCc("alaw"), 1, 1}, {fourCc("ima4"), 34, 64},
    {fourCc("MAC3"), 2, 6}, {fourCc("MAC6"), 1, 6}, {fourCc("agsm"), 33, 160},
};

/**
 * Old sound descriptions count samples as of one byte, whatever they are. Version 1 of the
 * description says how many samples are together, and their size.
 */
SoundUnit soundUnit(FourCc type, ByteView fields)
{
    constexpr std::uint32_t bitsPerByte = 8;
    constexpr std::uint32_t longestBlock = 1U << 16U;
    constexpr std::uint32_t largestSample = 64;
    const std::uint32_t version = be16(&fields[8]);
    const std::uint32_t channels = be16(&fields[16]);
    const std::uint32_t bits = be16(&fields[18]);
    const auto coded = std::find_if(std::begin(codedSounds), std::end(codedSounds),
                                    [type](const CodedSound &one) { return one.type == type; });
    SoundUnit unit;
    if (version > 1)
        return unit;
    if (coded != std::end(codedSounds))
        unit = {.bytes = coded->bytesPerChannel * channels, .samples = coded->samples};
    else if (version == 0)
        unit.bytes = channels * bits / bitsPerByte;
    else if (fields.size() >= 44)
        unit = {.bytes = be32(&fields[36]), .samples = std::max(be32(&fields[28]), 1U)};
    const std::uint32_t largest = unit.samples > 1 ? longestBlock : largestSample;
    return unit.bytes <= largest && unit.samples <= longestBlock ? unit : SoundUnit{};
}

/** An elementary stream descriptor says that the stream is AAC of MPEG-4. */
bool saysAac(const SourceFile &source, const Box &descriptor)
{
    constexpr std::uint8_t decoderTag = 4;
    constexpr std::uint8_t lengthTag = 0x80;
    constexpr std::uint8_t aac = 0x40;
    const ByteView bytes = source.view(descriptor.body(), 64);
    // The tag, a length of one to four bytes, and the kind of stream.
    for (std::size_t i = 4; i + 6 < bytes.size(); ++i) {
        if (bytes[i] != decoderTag)
            continue;
        std::size_t place = i + 1;
        while (place < i + 4 && (bytes[place] & lengthTag) != 0)
            ++place;
        if (bytes[place + 1] == aac)
            return true;
    }
    return false;
}

void readSoundDescription(const SourceFile &source, const Box &entry, IsoTrack &track)
{
    const ByteView fields = source.view(entry.body(), 48);
    if (fields.size() < 28)
        return;
    track.sampleRate = be16(&fields[24]);
    const SoundUnit unit = soundUnit(entry.type, fields);
    auto boxes = descriptionBoxes(source, entry, track);
    // QuickTime wraps it.
    if (const auto wave = findBox(boxes, fourCc("wave")))
        boxes = childrenOf(source, *wave);
    if (const auto descriptor = findBox(boxes, fourCc("esds")))
        track.isAac = saysAac(source, *descriptor);
    const auto &sizes = track.tables.sizes;
    if (!sizes || sizes->type != fourCc("stsz") || sizes->bodySize() < 8)
        return;
    const std::uint32_t stated = numberAt(source, sizes->body() + 4);
    if (unit.bytes == 0 || (stated != 1 && stated != unit.bytes))
        return;
    track.soundSamples = unit.samples;
    if (stated == 1) {
        track.uniformSize = unit.bytes;
        track.uniformSamples = unit.samples;
    }
}

void readDescription(const SourceFile &source, const Box &box, IsoTrack &track)
{
    constexpr std::uint64_t listHeader = 8;
    const auto entry = readBox(source, box.body() + listHeader, box.end);
    if (!entry || box.bodySize() > longestDescription)
        return;
    constexpr std::uint32_t mostDescriptions = 255;
    track.descriptions = 0;
    for (auto next = entry; next && track.descriptions < mostDescriptions;
         next = readBox(source, next->end, box.end))
        ++track.descriptions;
    track.codecType = entry->type;
    track.codec = textOf(entry->type);
    while (track.codec.size() > 1 && track.codec.back() == ' ')
        track.codec.pop_back();
    if (track.kind == TrackKind::Video)
        readVideoDescription(source, *entry, track);
    else if (track.kind == TrackKind::Audio)
        readSoundDescription(source, *entry, track);
}

/** None when too little of the track is there. */
std::optional<IsoTrack> readTrack(const SourceFile &source, const Box &box, bool &isQuickTime)
{
    IsoTrack track;
    track.box = box;
    const auto parts = childrenOf(source, box);
    const auto header = findBox(parts, fourCc("tkhd"));
    const auto media = findBox(parts, fourCc("mdia"));
    if (!header || !media)
        return std::nullopt;
    const auto mediaParts = childrenOf(source, *media);
    const auto mediaHeader = findBox(mediaParts, fourCc("mdhd"));
    const auto handler = findBox(mediaParts, fourCc("hdlr"));
    const auto information = findBox(mediaParts, fourCc("minf"));
    if (!mediaHeader || !handler || !information)
        return std::nullopt;
    const auto tableBox = findBox(childrenOf(source, *information), fourCc("stbl"));
    if (!tableBox)
        return std::nullopt;
    const auto tables = childrenOf(source, *tableBox);
    const auto description = findBox(tables, fourCc("stsd"));
    track.tables = findSampleTables(tables);
    if (!description || description->isCut || !hasSampleTables(track.tables))
        return std::nullopt;
    readTrackHeader(source, *header, track);
    readMediaHeader(source, *mediaHeader, track);
    readHandler(source, *handler, track, isQuickTime);
    readDescription(source, *description, track);
    if (track.timescale <= 0)
        track.timescale = track.sampleRate > 0 ? track.sampleRate : 1000;
    return track;
}

/** Track boxes of an index, also behind places where its boxes do not follow one another. */
std::vector<Box> trackBoxes(const SourceFile &source, const Box &index)
{
    std::vector<Box> tracks;
    std::uint64_t position = index.body();
    while (position < index.end) {
        for (const Box &box : readBoxes(source, position, index.end)) {
            if (box.type == fourCc("trak"))
                tracks.push_back(box);
            position = box.end;
        }
        const auto next =
            position < index.end ? findTrack(source, position, index.end) : std::nullopt;
        if (!next || next->offset < position)
            break;
        position = next->offset;
    }
    return tracks;
}

/** The movie's units of time, by a track that says its length in these and in its own. */
std::int64_t movieTimescaleBy(const std::vector<IsoTrack> &tracks)
{
    constexpr std::int64_t usual[] = {1000, 600, 90000, 10000, 48000};
    constexpr double near = 0.05;
    for (const IsoTrack &track : tracks) {
        const double seconds =
            static_cast<double>(track.statedDuration) / static_cast<double>(track.timescale);
        for (const std::int64_t scale : usual) {
            const double expected = seconds * static_cast<double>(scale);
            const auto stated = static_cast<double>(track.statedMovieDuration);
            if (stated > 0 && std::abs(stated - expected) < near * expected)
                return scale;
        }
    }
    return usual[0];
}

} // namespace

IsoRecording readTrackHeaders(const SourceFile &source, const Box &index)
{
    IsoRecording recording;
    recording.index = index;
    const auto parts = childrenOf(source, index);
    if (const auto header = findBox(parts, fourCc("mvhd"))) {
        const ByteView body = source.view(header->body(), 32);
        const auto scale = headerField(body, 12, 20, false);
        if (scale > 0)
            recording.movieTimescale = static_cast<std::int64_t>(scale);
    }
    const bool knowsTimescale = findBox(parts, fourCc("mvhd")).has_value();
    for (const Box &box : trackBoxes(source, index)) {
        auto track = recording.tracks.size() < mostTracks
                         ? readTrack(source, box, recording.isQuickTime)
                         : std::nullopt;
        if (track)
            recording.tracks.push_back(std::move(*track));
        else
            ++recording.lostTracks;
    }
    if (!knowsTimescale)
        recording.movieTimescale = movieTimescaleBy(recording.tracks);
    return recording;
}
