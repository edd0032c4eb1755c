#include "engine/iso/TrackTables.h"

#include <algorithm>
#include <limits>

namespace {

// Players read a chunk at a time.
constexpr std::uint64_t largestChunk = 1U << 20U;

/** A table with a count of entries that is known when it ends. */
class Table
{
public:
    Table(Bytes &bytes, FourCc type, std::uint8_t version = 0) : target(bytes), start(bytes.size())
    {
        appendBe(target, 0, 4);
        appendBe(target, type, 4);
        appendBe(target, static_cast<std::uint64_t>(version) << 24U, 4);
        countPlace = target.size();
        appendBe(target, 0, 4);
    }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;
    ~Table()
    {
        patchBe(target, countPlace, entries, 4);
        patchBe(target, start, target.size() - start, 4);
    }

    void add(std::initializer_list<std::uint64_t> fields, unsigned width = 4)
    {
        for (const std::uint64_t field : fields)
            appendBe(target, field, width);
        ++entries;
    }

private:
    Bytes &target;
    std::size_t start;
    std::size_t countPlace = 0;
    std::uint64_t entries = 0;
};

/** A table of so many samples with one value, run after run. */
class RunTable
{
public:
    RunTable(Bytes &bytes, FourCc type, std::uint8_t version = 0) : table(bytes, type, version) {}
    RunTable(const RunTable &) = delete;
    RunTable &operator=(const RunTable &) = delete;
    ~RunTable() { flush(); }

    void add(std::uint64_t count, std::uint32_t value)
    {
        if (value != current) {
            flush();
            current = value;
        }
        length += count;
    }

private:
    void flush()
    {
        if (length > 0)
            table.add({length, current});
        length = 0;
    }

    Table table;
    std::uint64_t length = 0;
    std::uint32_t current = 0;
};

template <typename Visit>
void forEachKept(const IsoTrack &track, Visit visit)
{
    const Packet *previous = nullptr;
    for (const Packet &packet : track.packets) {
        if (packet.isLost != 0)
            continue;
        if (previous != nullptr)
            visit(*previous, &packet);
        previous = &packet;
    }
    if (previous != nullptr)
        visit(*previous, nullptr);
}

std::uint32_t fitDuration(std::int64_t duration)
{
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(duration, 0, std::numeric_limits<std::uint32_t>::max()));
}

std::uint64_t samplesOf(const IsoTrack &track, const Packet &packet)
{
    return track.uniformSize > 0
               ? std::uint64_t{packet.size / track.uniformSize} * track.uniformSamples
               : 1;
}

void appendDurations(Bytes &target, const IsoTrack &track)
{
    RunTable table(target, fourCc("stts"));
    const std::int64_t ofSample = track.uniformDuration / track.uniformSamples;
    forEachKept(track, [&](const Packet &packet, const Packet *next) {
        const bool isLast = &packet == &track.packets.back();
        // What follows a lost packet begins when it always did.
        std::int64_t duration = track.lastDuration;
        if (next != nullptr)
            duration = next->time - packet.time;
        else if (!isLast)
            duration = (&packet + 1)->time - packet.time;
        const std::uint64_t samples = samplesOf(track, packet);
        // Plain sound ends where its last sample does, though the packet may once have been longer.
        if (track.uniformSize > 0 && next == nullptr)
            duration = static_cast<std::int64_t>(samples) * ofSample;
        if (track.uniformSize > 0 && samples > 1) {
            table.add(samples - 1, fitDuration(ofSample));
            duration -= static_cast<std::int64_t>(samples - 1) * ofSample;
        }
        table.add(1, fitDuration(duration));
    });
}

void appendCompositionOffsets(Bytes &target, const IsoTrack &track)
{
    bool isUsed = false;
    bool isSigned = false;
    for (const Packet &packet : track.packets) {
        isUsed = isUsed || packet.compositionOffset != 0;
        isSigned = isSigned || packet.compositionOffset < 0;
    }
    if (!isUsed)
        return;
    RunTable table(target, fourCc("ctts"), isSigned ? 1 : 0);
    forEachKept(track, [&table](const Packet &packet, const Packet *) {
        table.add(1, static_cast<std::uint32_t>(packet.compositionOffset));
    });
}

void appendKeySamples(Bytes &target, const IsoTrack &track)
{
    if (!track.hasKeyList)
        return;
    Table table(target, fourCc("stss"));
    std::uint64_t number = 0;
    forEachKept(track, [&](const Packet &packet, const Packet *) {
        ++number;
        if (packet.isKey != 0)
            table.add({number});
    });
}

void appendSizes(Bytes &target, const IsoTrack &track)
{
    const std::size_t start = target.size();
    std::uint64_t count = 0;
    appendBe(target, 0, 4);
    appendBe(target, fourCc("stsz"), 4);
    appendBe(target, 0, 4);
    appendBe(target, track.uniformSize > 0 ? track.statedSampleSize : 0, 4);
    appendBe(target, 0, 4);
    forEachKept(track, [&](const Packet &packet, const Packet *) {
        count += samplesOf(track, packet);
        if (track.uniformSize == 0)
            appendBe(target, packet.size, 4);
    });
    patchBe(target, start + 16, count, 4);
    patchBe(target, start, target.size() - start, 4);
}

struct Chunk
{
    std::uint64_t offset = 0;
    std::uint64_t samples = 0;
    std::uint64_t size = 0;
    std::uint64_t description = 0;
};

/** Kept packets of one description that follow one another in the file. */
template <typename Visit>
void forEachChunk(const IsoTrack &track, Visit visit)
{
    Chunk chunk;
    forEachKept(track, [&](const Packet &packet, const Packet *) {
        const bool goesOn = chunk.samples > 0 && packet.offset == chunk.offset + chunk.size &&
                            packet.description == chunk.description &&
                            chunk.size + packet.size <= largestChunk && track.uniformSize == 0;
        if (!goesOn) {
            if (chunk.samples > 0)
                visit(chunk);
            chunk = {.offset = packet.offset, .description = packet.description};
        }
        chunk.samples += samplesOf(track, packet);
        chunk.size += packet.size;
    });
    if (chunk.samples > 0)
        visit(chunk);
}

void appendChunks(Bytes &target, const IsoTrack &track)
{
    bool isLong = false;
    {
        Table table(target, fourCc("stsc"));
        std::uint64_t number = 0;
        Chunk last;
        forEachChunk(track, [&](const Chunk &chunk) {
            ++number;
            if (chunk.samples != last.samples || chunk.description != last.description)
                table.add({number, chunk.samples, chunk.description});
            last = chunk;
            isLong = isLong || chunk.offset > std::numeric_limits<std::uint32_t>::max();
        });
    }
    Table table(target, isLong ? fourCc("co64") : fourCc("stco"));
    forEachChunk(track, [&](const Chunk &chunk) { table.add({chunk.offset}, isLong ? 8 : 4); });
}

} // namespace

void appendTrackTables(Bytes &target, const IsoTrack &track)
{
    appendDurations(target, track);
    appendKeySamples(target, track);
    appendCompositionOffsets(target, track);
    appendChunks(target, track);
    appendSizes(target, track);
}
