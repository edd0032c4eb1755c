#include "engine/iso/IsoWriter.h"

#include "engine/iso/IndexWriter.h"
#include "engine/iso/TrackTiming.h"
#include "engine/recording/ForwardReader.h"
#include "engine/recording/OutputFile.h"
#include "engine/recording/PacketContent.h"
#include "engine/recording/PacketOrder.h"

#include <algorithm>

namespace {

constexpr std::uint64_t longMediaHeader = 16;
PacketContent::Kind kindOf(const IsoTrack &track)
{
    PacketContent::Kind kind = {.nalLengthSize = track.nalLengthSize, .isHevc = track.isHevc};
    if (track.nalLengthSize > 0)
        kind.impossibleZeros = PacketContent::zerosInPicture;
    else if (track.isAac)
        kind.impossibleZeros = PacketContent::zerosInSound;
    return kind;
}

class MediaCopy
{
public:
    MediaCopy(const SourceFile &file, IsoRecording &target, OutputFile &toFile)
        : source(file),
          recording(target),
          output(toFile),
          reader(file, "copied"),
          expected(target.tracks.size())
    {
    }

    std::vector<ExpectedTrack> run()
    {
        std::vector<Track *> tracks;
        for (IsoTrack &track : recording.tracks)
            tracks.push_back(&track);
        PacketOrder order(tracks);
        for (auto entry = order.next(); entry.packet != nullptr; entry = order.next()) {
            if (entry.packet->isLost == 0)
                copy(entry.track, *entry.packet);
        }
        startAtFirstPackets(source, recording);
        addTimes();
        return std::move(expected);
    }

private:
    void copy(std::size_t index, Packet &packet)
    {
        const IsoTrack &track = recording.tracks[index];
        const ByteView bytes = reader.read(packet.offset, packet.size);
        // An index that tells of the same bytes again and again could fill any disk.
        const bool isTooMuch = copied + packet.size > source.size();
        if (bytes.size() < packet.size || isTooMuch ||
            PacketContent::isOverwritten(bytes, kindOf(track))) {
            packet.setLost(true);
            return;
        }
        // Hashes are made in this order: a track whose order is another cannot be compared.
        if (lastPlaces.size() <= index)
            lastPlaces.resize(index + 1);
        if (&packet < lastPlaces[index])
            expected[index].comparesBytes = false;
        lastPlaces[index] = &packet;
        expected[index].digest.addBytes(bytes);
        packet.setOffset(output.position());
        output.write(bytes);
        copied += packet.size;
    }

    /** Times in the output count from a track's first packet. */
    void addTimes()
    {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const IsoTrack &track = recording.tracks[i];
            expected[i].comparesPackets = track.uniformSize == 0;
            std::optional<std::int64_t> first;
            for (const Packet &packet : track.packets) {
                if (packet.isLost != 0)
                    continue;
                if (!first)
                    first = packet.time;
                expected[i].digest.addPacket(packet.time - *first + packet.compositionOffset,
                                             packet.size);
            }
        }
    }

    const SourceFile &source;
    IsoRecording &recording;
    OutputFile &output;
    ForwardReader reader;
    std::vector<ExpectedTrack> expected;
    std::vector<const Packet *> lastPlaces;
    std::uint64_t copied = 0;
};

} // namespace

Bytes fileTypeOf(const SourceFile &source, const IsoRecording &recording)
{
    if (recording.fileType)
        return source.copy(recording.fileType->offset,
                           recording.fileType->end - recording.fileType->offset);
    Bytes brands;
    if (recording.isQuickTime) {
        appendBe(brands, fourCc("qt  "), 4);
        appendBe(brands, 0x200, 4);
        appendBe(brands, fourCc("qt  "), 4);
    } else {
        appendBe(brands, fourCc("isom"), 4);
        appendBe(brands, 0x200, 4);
        for (const FourCc brand : {fourCc("isom"), fourCc("iso2"), fourCc("mp41")})
            appendBe(brands, brand, 4);
    }
    return makeBox(fourCc("ftyp"), brands);
}

std::vector<ExpectedTrack> writeIso(const SourceFile &source, IsoRecording &recording,
                                    const std::string &path)
{
    OutputFile output(path);
    output.write(fileTypeOf(source, recording));
    const std::uint64_t start = output.position();
    output.write(mediaHeader(0));
    std::vector<ExpectedTrack> expected = MediaCopy(source, recording, output).run();
    output.patch(start, mediaHeader(output.position() - start - longMediaHeader));
    output.write(makeIndex(source, recording));
    output.close();

    std::vector<ExpectedTrack> written;
    for (ExpectedTrack &track : expected) {
        if (track.digest.packets() > 0)
            written.push_back(std::move(track));
    }
    return written;
}

Bytes mediaHeader(std::uint64_t bodySize)
{
    Bytes header;
    appendBe(header, 1, 4);
    appendBe(header, fourCc("mdat"), 4);
    appendBe(header, bodySize + longMediaHeader, 8);
    return header;
}
