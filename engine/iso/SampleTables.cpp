#include "engine/iso/SampleTables.h"

#include <algorithm>
#include <limits>

namespace {

// Version and flags, and the number of entries, before each table.
constexpr std::uint64_t tableHeader = 8;

/** The entries of one table, read one after another. */
class TableReader
{
public:
    TableReader(const SourceFile &file, const std::optional<Box> &box, std::size_t bytesPerEntry,
                std::uint64_t headerSize = tableHeader)
        : source(file), entrySize(bytesPerEntry)
    {
        if (!box || box->bodySize() < headerSize)
            return;
        position = box->body() + headerSize;
        stated = numberAt(source, position - sizeof(std::uint32_t));
        remaining = std::min<std::uint64_t>(stated, (box->end - position) / entrySize);
    }

    std::uint64_t statedCount() const { return stated; }
    /** Entries that the box has room for, and that have not been read. */
    std::uint64_t left() const { return remaining; }

    /** The next entry; null behind the last. */
    const std::uint8_t *next()
    {
        constexpr std::size_t bufferSize = std::size_t{32} * 1024;
        if (remaining == 0)
            return nullptr;
        if (index + entrySize > buffer.size()) {
            buffer.resize(static_cast<std::size_t>(
                std::min<std::uint64_t>(remaining, bufferSize / entrySize) * entrySize));
            buffer.resize(source.read(position, buffer.data(), buffer.size()));
            position += buffer.size();
            index = 0;
            if (buffer.size() < entrySize)
                return nullptr;
        }
        --remaining;
        const std::uint8_t *entry = &buffer[index];
        index += entrySize;
        return entry;
    }

private:
    const SourceFile &source;
    std::size_t entrySize;
    std::uint64_t stated = 0;
    std::uint64_t remaining = 0;
    std::uint64_t position = 0;
    Bytes buffer;
    std::size_t index = 0;
};

/** A table of runs: so many samples of one value. */
class RunReader
{
public:
    RunReader(const SourceFile &source, const std::optional<Box> &box) : table(source, box, 8) {}

    /** The next sample's value; the last one's for those that the table has nothing of. */
    std::uint32_t next()
    {
        while (left == 0) {
            const std::uint8_t *entry = table.next();
            if (entry == nullptr)
                return value;
            left = be32(entry);
            value = be32(entry + 4);
        }
        --left;
        return value;
    }

private:
    TableReader table;
    std::uint32_t left = 0;
    std::uint32_t value = 0;
};

/** Sizes of samples: one for all, a table of 32 bits, or a compact one. */
class SizeReader
{
public:
    SizeReader(const SourceFile &source, const std::optional<Box> &box)
        : table(source, box, fieldBits(source, box) == 4 ? 1 : fieldBits(source, box) / 8,
                compactHeader),
          bits(fieldBits(source, box))
    {
        if (box && box->type == fourCc("stsz") && box->bodySize() >= compactHeader) {
            fixedSize = numberAt(source, box->body() + 4);
            statedCount = numberAt(source, box->body() + 8);
        }
    }

    /** Size of all samples; 0 when each has its own. */
    std::uint32_t fixed() const { return fixedSize; }
    std::uint64_t count() const { return fixedSize > 0 ? statedCount : table.statedCount(); }
    /** Sizes that are in the table, at least; 0 without one. */
    std::uint64_t listed() const { return fixedSize > 0 ? 0 : table.left(); }

    std::optional<std::uint32_t> next()
    {
        if (fixedSize > 0)
            return statedCount-- > 0 ? std::optional(fixedSize) : std::nullopt;
        if (bits == 4 && hasHalf) {
            hasHalf = false;
            return half;
        }
        const std::uint8_t *entry = table.next();
        if (entry == nullptr)
            return std::nullopt;
        if (bits == 4) {
            hasHalf = true;
            half = *entry & 0x0fU;
            return *entry >> 4U;
        }
        return bits == 8 ? *entry : bits == 16 ? be16(entry) : be32(entry);
    }

private:
    // Version and flags, size or its width, number of samples.
    static constexpr std::uint64_t compactHeader = 12;

    static unsigned fieldBits(const SourceFile &source, const std::optional<Box> &box)
    {
        if (!box || box->type == fourCc("stsz") || box->bodySize() < compactHeader)
            return 32;
        constexpr std::uint32_t widthField = 0xff;
        const std::uint32_t width = numberAt(source, box->body() + 4) & widthField;
        return width == 4 || width == 8 ? width : 16;
    }

    TableReader table;
    unsigned bits;
    std::uint32_t fixedSize = 0;
    std::uint64_t statedCount = 0;
    bool hasHalf = false;
    std::uint32_t half = 0;
};

/** How many samples the chunks have. */
class ChunkReader
{
public:
    ChunkReader(const SourceFile &source, const std::optional<Box> &box) : table(source, box, 12)
    {
        fetch();
    }

    struct Chunk
    {
        std::uint32_t samples = 0;
        std::uint32_t description = 1;
    };

    /** @param number of the chunk, from 1, in order */
    Chunk at(std::uint64_t number)
    {
        while (hasNext && number >= nextFirst) {
            current = pending;
            fetch();
        }
        return current;
    }

private:
    void fetch()
    {
        const std::uint8_t *entry = table.next();
        hasNext = entry != nullptr;
        if (!hasNext)
            return;
        nextFirst = be32(entry);
        pending = {.samples = be32(entry + 4), .description = be32(entry + 8)};
    }

    TableReader table;
    Chunk current;
    Chunk pending;
    std::uint64_t nextFirst = 0;
    bool hasNext = false;
};

class KeyReader
{
public:
    KeyReader(const SourceFile &source, const std::optional<Box> &box)
        : isListed(box.has_value()), table(source, box, 4)
    {
        fetch();
    }

    /** @param number of the sample, from 1, in order */
    bool isKey(std::uint64_t number)
    {
        while (nextKey < number)
            fetch();
        return !isListed || nextKey == number;
    }

private:
    void fetch()
    {
        const std::uint8_t *entry = table.next();
        nextKey = entry != nullptr ? be32(entry) : std::numeric_limits<std::uint64_t>::max();
    }

    bool isListed;
    TableReader table;
    std::uint64_t nextKey = 0;
};

class OffsetReader
{
public:
    OffsetReader(const SourceFile &source, const std::optional<Box> &box)
        : isLong(box && box->type == fourCc("co64")), table(source, box, isLong ? 8 : 4)
    {
    }

    std::optional<std::uint64_t> next()
    {
        const std::uint8_t *entry = table.next();
        if (entry == nullptr)
            return std::nullopt;
        return isLong ? be64(entry) : be32(entry);
    }

    std::uint64_t statedCount() const { return table.statedCount(); }

private:
    bool isLong;
    TableReader table;
};

/** One duration for all samples; none when they differ or nothing is said. */
std::optional<std::int64_t> onlyDuration(const SourceFile &source, const std::optional<Box> &box)
{
    TableReader table(source, box, 8);
    const std::uint8_t *entry = table.next();
    if (entry == nullptr)
        return std::nullopt;
    const std::int64_t duration = be32(entry + 4);
    for (entry = table.next(); entry != nullptr; entry = table.next()) {
        if (be32(entry + 4) != duration)
            return std::nullopt;
    }
    return duration;
}

// Of any number of channels; frames of compressed sound are larger.
constexpr std::uint32_t largestPlainSample = 128;
// In the track's units: usually 1, and some times that where the table is wrong.
constexpr std::int64_t longestPlainSample = 1U << 16U;
// Bytes: a chunk may be as long as the recording, and a packet is in memory as a whole.
constexpr std::uint64_t largestPlainPacket = 1U << 20U;

bool isUniform(const SourceFile &source, const IsoTrack &track)
{
    return track.kind == TrackKind::Audio && track.statedSampleSize > 0 &&
           track.statedSampleSize <= largestPlainSample && !track.tables.keySamples &&
           !track.tables.compositionOffsets &&
           onlyDuration(source, track.tables.durations).has_value();
}

void visitChunksOfPlainSound(const SourceFile &source, IsoTrack &track, std::uint64_t most,
                             const PacketVisitor &visit)
{
    track.uniformDuration =
        std::min(*onlyDuration(source, track.tables.durations), longestPlainSample) *
        track.uniformSamples;
    if (track.uniformSize == 0)
        track.uniformSize = track.statedSampleSize;
    const std::uint64_t unitsAtOnce = largestPlainPacket / track.uniformSize;
    OffsetReader offsets(source, track.tables.chunkOffsets);
    ChunkReader chunks(source, track.tables.chunks);
    std::uint64_t left = SizeReader(source, track.tables.sizes).count();
    std::int64_t time = 0;
    std::uint64_t number = 1;
    std::uint64_t count = 0;
    for (auto offset = offsets.next(); offset && left > 0; offset = offsets.next()) {
        const auto chunk = chunks.at(number++);
        std::uint64_t place = std::min(*offset, Packet::furthest);
        const std::uint64_t samples = std::min<std::uint64_t>(chunk.samples, left);
        left -= samples;
        std::uint64_t inChunk = samples / track.uniformSamples;
        while (inChunk > 0 && count < most) {
            const std::uint64_t units = std::min(inChunk, unitsAtOnce);
            Packet packet = {.isKey = 1, .time = time};
            packet.setDescription(descriptionOf(track, chunk.description));
            packet.setOffset(place);
            packet.size = static_cast<std::uint32_t>(units * track.uniformSize);
            visit(packet);
            ++count;
            track.lastDuration = static_cast<std::int64_t>(units) * track.uniformDuration;
            time += track.lastDuration;
            place += packet.size;
            inChunk -= units;
        }
    }
}

void visitSamples(const SourceFile &source, IsoTrack &track, std::uint64_t most,
                  const PacketVisitor &visit)
{
    OffsetReader offsets(source, track.tables.chunkOffsets);
    ChunkReader chunks(source, track.tables.chunks);
    SizeReader sizes(source, track.tables.sizes);
    RunReader durations(source, track.tables.durations);
    RunReader composition(source, track.tables.compositionOffsets);
    KeyReader keys(source, track.tables.keySamples);
    const std::uint64_t stated = sizes.count();
    std::int64_t time = 0;
    std::uint64_t number = 1;
    std::uint64_t count = 0;
    for (auto offset = offsets.next(); offset; offset = offsets.next()) {
        const auto chunk = chunks.at(number++);
        std::uint64_t place = std::min(*offset, Packet::furthest);
        for (std::uint32_t i = 0; i < chunk.samples; ++i) {
            const auto size = sizes.next();
            if (!size || count >= std::min(stated, most))
                break;
            Packet packet = {.time = time, .size = *size};
            packet.setDescription(descriptionOf(track, chunk.description));
            packet.setOffset(place);
            packet.setKey(keys.isKey(++count));
            packet.compositionOffset = static_cast<std::int32_t>(composition.next());
            visit(packet);
            place += *size;
            track.lastDuration = durations.next();
            time += track.lastDuration;
        }
    }
    track.missing = static_cast<std::int64_t>(std::min(stated, most) - std::min(stated, count));
}

} // namespace

bool hasSampleTables(const SampleTableBoxes &tables)
{
    return tables.sizes && tables.durations && tables.chunks && tables.chunkOffsets;
}

SampleTableBoxes findSampleTables(const std::vector<Box> &children)
{
    SampleTableBoxes tables;
    tables.sizes = findBox(children, fourCc("stsz"));
    if (!tables.sizes)
        tables.sizes = findBox(children, fourCc("stz2"));
    tables.durations = findBox(children, fourCc("stts"));
    tables.compositionOffsets = findBox(children, fourCc("ctts"));
    tables.chunks = findBox(children, fourCc("stsc"));
    tables.chunkOffsets = findBox(children, fourCc("co64"));
    if (!tables.chunkOffsets)
        tables.chunkOffsets = findBox(children, fourCc("stco"));
    tables.keySamples = findBox(children, fourCc("stss"));
    return tables;
}

std::uint32_t descriptionOf(const IsoTrack &track, std::uint32_t number)
{
    return number > 0 && number <= track.descriptions ? number : 1;
}

void visitSampleTables(const SourceFile &source, IsoTrack &track, std::uint64_t most,
                       const PacketVisitor &visit)
{
    track.hasKeyList = track.tables.keySamples.has_value();
    track.statedSampleSize = SizeReader(source, track.tables.sizes).fixed();
    if (isUniform(source, track))
        visitChunksOfPlainSound(source, track, most, visit);
    else
        visitSamples(source, track, most, visit);
}

void readSampleTables(const SourceFile &source, IsoTrack &track, std::uint64_t most)
{
    // One that grows as it is filled would be there twice at times. A day's packets are no more.
    constexpr std::uint64_t mostReserved = 1U << 23U;
    const std::uint64_t listed = SizeReader(source, track.tables.sizes).listed();
    track.packets.reserve(static_cast<std::size_t>(std::min({listed, most, mostReserved})));
    visitSampleTables(source, track, most,
                      [&track](const Packet &packet) { track.packets.push_back(packet); });
}
