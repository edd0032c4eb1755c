#include "engine/iso/WrittenIso.h"

#include <algorithm>

namespace {

// Read back one by one: of each track so many at so many places, or all where there are no more.
constexpr std::size_t stretchLength = 96;
constexpr std::size_t mostStretches = 10;
// Tracks. Recorders have fewer.
constexpr std::size_t mostReadBack = 16;

/** Where a stretch begins: with a key picture, so that it can be decoded, if there is one near. */
std::size_t startNear(const IsoTrack &track, std::size_t nominal, std::size_t limit)
{
    for (std::size_t i = nominal; i < limit; ++i) {
        if (track.packets[i].isKey != 0 && track.packets[i].isLost == 0)
            return i;
    }
    return nominal;
}

std::vector<std::size_t> stretchStarts(const IsoTrack &track)
{
    const std::size_t count = track.packets.size();
    std::vector<std::size_t> starts;
    if (count <= stretchLength * mostStretches) {
        for (std::size_t i = 0; i < count; i += stretchLength)
            starts.push_back(i);
        return starts;
    }
    const std::size_t last = count - stretchLength;
    for (std::size_t i = 0; i + 1 < mostStretches; ++i) {
        const std::size_t nominal = last / (mostStretches - 1) * i;
        const std::size_t next = last / (mostStretches - 1) * (i + 1);
        starts.push_back(i > 0 ? startNear(track, nominal, next - stretchLength) : nominal);
    }
    starts.push_back(last);
    return starts;
}

std::uint64_t bitsOf(std::int64_t number)
{
    return static_cast<std::uint64_t>(number);
}

} // namespace

void PlaceHash::add(std::uint64_t offset, std::uint64_t size, std::int64_t time)
{
    if (!joinsPackets) {
        hash.add(offset);
        hash.add(size);
        hash.add(bitsOf(time));
        return;
    }
    if (offset != end) {
        hash.add(start);
        hash.add(end);
        start = offset;
    }
    end = offset + size;
}

std::uint64_t PlaceHash::value() const
{
    NumberHash all = hash;
    all.add(start);
    all.add(end);
    return all.value();
}

void TableHash::add(const Packet &packet)
{
    if (packet.isLost != 0)
        return;
    if (!start)
        start = packet.time;
    const bool isKey = packet.isKey != 0 || !listsKeys;
    hash.add(std::uint64_t{packet.offset} << 8U | packet.description);
    hash.add(bitsOf(packet.time - *start) << 1U | (isKey ? 1U : 0U));
    hash.add(std::uint64_t{packet.size} << 32U |
             static_cast<std::uint32_t>(packet.compositionOffset));
}

PacketNotes::PacketNotes(const IsoRecording &ofRecording)
    : recording(ofRecording), stretches(ofRecording.tracks.size())
{
    for (std::size_t i = 0; i < std::min(stretches.size(), mostReadBack); ++i) {
        const IsoTrack &track = recording.tracks[i];
        for (const std::size_t start : stretchStarts(track)) {
            Stretch stretch = {.first = start, .hashes = {}};
            stretch.hashes.resize(std::min(track.packets.size() - start, stretchLength));
            stretches[i].push_back(std::move(stretch));
        }
    }
}

bool PacketNotes::wants(std::size_t track, const Packet &packet) const
{
    const std::size_t index = indexOf(track, packet);
    const auto &all = stretches[track];
    return std::any_of(all.begin(), all.end(),
                       [index](const Stretch &stretch) { return stretch.holds(index); });
}

void PacketNotes::take(std::size_t track, const Packet &packet, std::uint64_t hash)
{
    const std::size_t index = indexOf(track, packet);
    for (Stretch &stretch : stretches[track]) {
        if (stretch.holds(index))
            stretch.hashes[index - stretch.first] = hash;
    }
}

WrittenIso PacketNotes::finish(OutputFile &output, Bytes head) const
{
    WrittenIso written = {.head = std::move(head),
                          .bodyHashes = output.hashes(),
                          .size = output.position(),
                          .tracks = {}};
    for (std::size_t i = 0; i < recording.tracks.size(); ++i) {
        WrittenTrack track = noteOf(i);
        if (track.packets > 0)
            written.tracks.push_back(std::move(track));
    }
    return written;
}

std::size_t PacketNotes::indexOf(std::size_t track, const Packet &packet) const
{
    return static_cast<std::size_t>(&packet - recording.tracks[track].packets.data());
}

WrittenTrack PacketNotes::noteOf(std::size_t index) const
{
    const IsoTrack &track = recording.tracks[index];
    WrittenTrack note = {.isUniform = track.uniformSize > 0, .stretches = {}};
    TableHash table(track.hasKeyList);
    PlaceHash places(note.isUniform);
    const Packet *first = nullptr;
    auto stretch = stretches[index].begin();
    bool isInside = false;
    for (std::size_t i = 0; i < track.packets.size(); ++i) {
        if (stretch != stretches[index].end() && i >= stretch->first + stretch->hashes.size()) {
            ++stretch;
            isInside = false;
        }
        const Packet &packet = track.packets[i];
        if (packet.isLost != 0)
            continue;
        if (first == nullptr)
            first = &packet;
        table.add(packet);
        places.add(packet.offset, packet.size, packet.time - first->time);
        const std::uint64_t number = note.packets++;
        if (stretch == stretches[index].end() || !stretch->holds(i))
            continue;
        if (!isInside)
            note.stretches.emplace_back();
        isInside = true;
        note.stretches.back().push_back(
            {.number = number,
             .offset = packet.offset,
             .size = packet.size,
             .isKey = packet.isKey != 0,
             .shown = packet.time - first->time + packet.compositionOffset,
             .hash = stretch->hashes[i - stretch->first]});
    }
    note.tableHash = table.value();
    note.placeHash = places.value();
    return note;
}
