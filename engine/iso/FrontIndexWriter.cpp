#include "engine/iso/FrontIndexWriter.h"

#include "engine/EngineError.h"
#include "engine/iso/IndexWriter.h"
#include "engine/iso/IsoWriter.h"
#include "engine/iso/TrackTiming.h"
#include "engine/recording/ForwardReader.h"
#include "engine/recording/OutputFile.h"
#include "engine/recording/PacketOrder.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace {

/** A packet of this sample description is not there: silence is written for it. */
constexpr std::uint64_t silence = 0;

/** What silence is made of where it is not zeros. */
struct SilentByte
{
    FourCc type;
    std::uint8_t value;
};

constexpr SilentByte silentBytes[] = {
    {fourCc("ulaw"), 0xff}, {fourCc("alaw"), 0xd5}, {fourCc("raw "), 0x80}};

std::uint8_t silentByteOf(const IsoTrack &track)
{
    const auto found =
        std::find_if(std::begin(silentBytes), std::end(silentBytes),
                     [&](const SilentByte &one) { return one.type == track.codecType; });
    return found != std::end(silentBytes) ? found->value : std::uint8_t{0};
}

/** Bytes of the damaged file that stand together in the output as well. */
struct Span
{
    std::uint64_t from = 0;
    std::uint64_t size = 0;
    /** This byte, again and again, stands for it. */
    std::optional<std::uint8_t> silence = {};
};

template <typename Visit>
void forEachKept(IsoRecording &recording, Visit visit)
{
    std::vector<Track *> tracks;
    for (IsoTrack &track : recording.tracks)
        tracks.push_back(&track);
    PacketOrder order(tracks);
    for (auto entry = order.next(); entry.packet != nullptr; entry = order.next()) {
        if (entry.packet->isLost == 0)
            visit(entry.track, *entry.packet);
    }
}

/** Moves the packets to where they stand when the media begins at 0. */
std::vector<Span> packTogether(IsoRecording &recording)
{
    std::vector<Span> spans;
    std::uint64_t size = 0;
    // Packets keep their order, so that the walk is not disturbed by their moving: those that are
    // lost go with their neighbours.
    std::vector<Track *> tracks;
    for (IsoTrack &track : recording.tracks)
        tracks.push_back(&track);
    PacketOrder order(tracks);
    for (auto entry = order.next(); entry.packet != nullptr; entry = order.next()) {
        Packet &packet = *entry.packet;
        if (packet.isLost == 0) {
            const bool isSilence = packet.description == silence;
            const bool goesOn = !spans.empty() && !isSilence && !spans.back().silence &&
                                spans.back().from + spans.back().size == packet.offset;
            if (goesOn)
                spans.back().size += packet.size;
            else
                spans.push_back({.from = packet.offset, .size = packet.size});
            if (isSilence) {
                spans.back().silence = silentByteOf(recording.tracks[entry.track]);
                packet.setDescription(1);
            }
        }
        packet.setOffset(size);
        size += packet.isLost == 0 ? packet.size : 0;
    }
    return spans;
}

void moveAll(IsoRecording &recording, std::uint64_t by)
{
    for (IsoTrack &track : recording.tracks) {
        for (Packet &packet : track.packets)
            packet.setOffset(packet.offset + by);
    }
}

std::uint64_t sizeOf(const std::vector<Span> &spans)
{
    std::uint64_t size = 0;
    for (const Span &span : spans)
        size += span.size;
    return size;
}

/** The index, for media that begins behind it; the packets are moved there. */
Bytes placeIndex(const SourceFile &description, IsoRecording &recording, std::uint64_t before)
{
    Bytes index = makeIndex(description, recording);
    std::uint64_t moved = 0;
    // Places further on may need more room, which moves the media once more.
    for (std::size_t size = 0; size != index.size();) {
        size = index.size();
        const std::uint64_t start = before + size;
        moveAll(recording, start - moved);
        moved = start;
        // Of millions of packets it is large: there must not be two of it.
        index = Bytes();
        index = makeIndex(description, recording);
    }
    return index;
}

class SpanCopy
{
public:
    SpanCopy(const SourceFile &media, std::vector<Span> ofMedia, OutputFile &toFile)
        : reader(media, "copied"), spans(std::move(ofMedia)), output(toFile)
    {
    }

    /** @param hash takes the bytes as well; may be null */
    void copy(std::uint64_t size, ByteHash *hash)
    {
        while (size > 0) {
            const Span &span = spans[current];
            const std::uint64_t some = std::min({size, span.size - inside, mostAtOnce});
            const ByteView bytes =
                span.silence ? silenceOf(*span.silence, some)
                             : reader.read(span.from + inside, static_cast<std::size_t>(some));
            if (bytes.size() < some)
                throw EngineError(ErrorCode::OutputNotSound,
                                  "The damaged file changed while it was read.");
            if (hash != nullptr)
                hash->add(bytes);
            output.write(bytes);
            size -= some;
            inside += some;
            if (inside == span.size) {
                ++current;
                inside = 0;
            }
        }
    }

private:
    static constexpr std::uint64_t mostAtOnce = 1U << 20U;

    ByteView silenceOf(std::uint8_t byte, std::uint64_t size)
    {
        silent.assign(static_cast<std::size_t>(size), byte);
        return silent;
    }

    ForwardReader reader;
    std::vector<Span> spans;
    OutputFile &output;
    Bytes silent;
    std::size_t current = 0;
    std::uint64_t inside = 0;
};

} // namespace

void fillWithSilence(IsoTrack &track)
{
    if (track.uniformSize == 0 || track.uniformDuration <= 0)
        return;
    for (std::size_t i = 0; i + 1 < track.packets.size(); ++i) {
        Packet &packet = track.packets[i];
        const std::int64_t samples =
            (track.packets[i + 1].time - packet.time) / track.uniformDuration;
        const auto size = static_cast<std::uint64_t>(samples) * track.uniformSize;
        if (packet.isLost == 0 || samples <= 0 || size > std::numeric_limits<std::uint32_t>::max())
            continue;
        packet.size = static_cast<std::uint32_t>(size);
        packet.setLost(false);
        packet.setDescription(silence);
    }
}

WrittenIso writeIsoIndexFirst(const SourceFile &media, const SourceFile &description,
                              IsoRecording &recording, const std::string &path)
{
    startAtFirstPackets(description, recording);
    PacketNotes notes(recording);
    std::vector<Span> spans = packTogether(recording);
    const std::uint64_t size = sizeOf(spans);
    const Bytes type = fileTypeOf(description, recording);
    const Bytes header = mediaHeader(size);
    OutputFile output(path);
    output.beginHashes();
    output.write(type);
    output.write(placeIndex(description, recording, type.size() + header.size()));
    output.write(header);
    SpanCopy copy(media, std::move(spans), output);
    forEachKept(recording, [&](std::size_t track, const Packet &packet) {
        if (!notes.wants(track, packet)) {
            copy.copy(packet.size, nullptr);
            return;
        }
        ByteHash hash;
        copy.copy(packet.size, &hash);
        notes.take(track, packet, hash.value());
    });
    WrittenIso written = notes.finish(output, {});
    output.close();
    return written;
}
