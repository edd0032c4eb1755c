#include "engine/iso/IsoWriter.h"

#include "engine/iso/IndexWriter.h"
#include "engine/iso/PacketLook.h"
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
    MediaCopy(const SourceFile &file, IsoRecording &target, OutputFile &toFile,
              PacketNotes &forNotes)
        : source(file), recording(target), output(toFile), notes(forNotes), reader(file, "copied")
    {
        for (const IsoTrack &track : recording.tracks)
            kinds.push_back(kindOf(track));
    }

    void run()
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
    }

private:
    void copy(std::size_t index, Packet &packet)
    {
        const ByteView bytes = reader.read(packet.offset, packet.size);
        // An index that tells of the same bytes again and again could fill any disk.
        const bool isTooMuch = copied + packet.size > source.size();
        // A fragment's header may have been found where its media is not any more.
        const IsoTrack &track = recording.tracks[index];
        const bool isElsewhere =
            track.isFragmented && track.kind == TrackKind::Video && !mayBeDecoded(track, bytes);
        if (bytes.size() < packet.size || isTooMuch || isElsewhere ||
            PacketContent::isOverwritten(bytes, kinds[index])) {
            packet.setLost(true);
            return;
        }
        if (notes.wants(index, packet))
            notes.take(index, packet, hashOf(bytes));
        packet.setOffset(output.position());
        output.write(bytes);
        copied += packet.size;
    }

    const SourceFile &source;
    IsoRecording &recording;
    OutputFile &output;
    PacketNotes &notes;
    ForwardReader reader;
    std::vector<PacketContent::Kind> kinds;
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

WrittenIso writeIso(const SourceFile &source, IsoRecording &recording, const std::string &path)
{
    OutputFile output(path);
    PacketNotes notes(recording);
    Bytes head = fileTypeOf(source, recording);
    output.write(head);
    const std::uint64_t start = output.position();
    output.write(mediaHeader(0));
    output.beginHashes();
    MediaCopy(source, recording, output, notes).run();
    const Bytes header = mediaHeader(output.position() - start - longMediaHeader);
    output.patch(start, header);
    output.write(makeIndex(source, recording));
    appendBytes(head, header);
    WrittenIso written = notes.finish(output, std::move(head));
    output.close();
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
