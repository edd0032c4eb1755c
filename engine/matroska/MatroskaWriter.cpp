#include "engine/matroska/MatroskaWriter.h"

#include "engine/matroska/Block.h"
#include "engine/recording/ForwardReader.h"
#include "engine/recording/OutputFile.h"
#include "engine/recording/PacketOrder.h"

#include <algorithm>
#include <bit>
#include <map>

namespace {

// Room for the list of the parts' places, which are known at the end.
constexpr std::size_t seekHeadRoom = 256;

class Writer
{
public:
    Writer(const SourceFile &media, const SourceFile &described, MatroskaRecording &target,
           const std::string &path)
        : description(described),
          recording(target),
          output(path),
          reader(media, "copied"),
          expected(target.tracks.size())
    {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const MatroskaTrack &track = target.tracks[i];
            expected[i].comparesBytes = track.isVerbatim && !track.hasLacing;
            expected[i].comparesPackets =
                !track.hasLacing && !track.isReadOtherwise && !hasTimesBelowZero(track);
        }
    }

    std::vector<ExpectedTrack> run()
    {
        writeHeader();
        writeTracks();
        for (const Element &element : recording.others)
            copy(element.id, element);
        writeClusters();
        writeCues();
        finish();
        std::vector<ExpectedTrack> written;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (recording.tracks[i].isDescribed && recording.tracks[i].isStream)
                written.push_back(std::move(expected[i]));
        }
        return written;
    }

private:
    /** FFmpeg's reader takes such times for unknown. */
    static bool hasTimesBelowZero(const MatroskaTrack &track)
    {
        return std::any_of(track.packets.begin(), track.packets.end(),
                           [](const Packet &packet) { return packet.time < 0; });
    }

    void writeHeader()
    {
        constexpr std::uint64_t longestHeader = 4096;
        Bytes bytes;
        if (recording.header && recording.header->size() <= longestHeader)
            bytes = description.copy(recording.header->offset, recording.header->size());
        else
            appendElement(bytes, MatroskaId::header, documentType());
        segmentStart = bytes.size();
        appendLongElementHeader(bytes, MatroskaId::segment, 0);
        segmentBody = bytes.size();
        bytes.resize(bytes.size() + seekHeadRoom);
        output.write(bytes);
        places[MatroskaId::info] = output.position() - segmentBody;
        infoStart = output.position();
        output.write(makeInfo(0));
    }

    static Bytes documentType()
    {
        constexpr std::uint32_t type = 0x4282;
        constexpr std::uint32_t typeVersion = 0x4287;
        constexpr std::uint32_t typeReadVersion = 0x4285;
        constexpr std::uint8_t name[] = {'m', 'a', 't', 'r', 'o', 's', 'k', 'a'};
        Bytes body;
        appendElement(body, type, name);
        appendNumber(body, typeVersion, 4);
        appendNumber(body, typeReadVersion, 2);
        return body;
    }

    /** The same at any duration in length. */
    Bytes makeInfo(double duration) const
    {
        // Titles and names of programs.
        constexpr std::uint64_t longestField = 64U << 10U;
        Bytes body;
        Bytes number;
        appendBe(number, std::bit_cast<std::uint64_t>(duration), 8);
        appendElement(body, MatroskaId::duration, number);
        if (!recording.info)
            appendNumber(body, MatroskaId::timestampScale, recording.timestampScale);
        else
            for (const Element &field : childrenOf(description, *recording.info)) {
                if (field.id != MatroskaId::duration && field.id != MatroskaId::filler &&
                    field.id != MatroskaId::checksum && field.size() <= longestField)
                    appendBytes(body, description.copy(field.offset, field.size()));
            }
        Bytes info;
        appendElement(info, MatroskaId::info, body);
        return info;
    }

    void copy(std::uint32_t id, const Element &element)
    {
        constexpr std::uint64_t atOnce = 1U << 20U;
        places.try_emplace(id, output.position() - segmentBody);
        for (std::uint64_t place = element.offset; place < element.end; place += atOnce)
            output.write(description.copy(place, std::min(atOnce, element.end - place)));
    }

    void writeTracks()
    {
        if (recording.tracksElement) {
            copy(MatroskaId::tracks, *recording.tracksElement);
            return;
        }
        places.try_emplace(MatroskaId::tracks, output.position() - segmentBody);
        output.write(recording.madeTracks);
    }

    void writeClusters()
    {
        std::vector<Track *> tracks;
        for (MatroskaTrack &track : recording.tracks)
            tracks.push_back(&track);
        PacketOrder order(tracks);
        std::size_t next = 0;
        for (auto entry = order.next(); entry.packet != nullptr; entry = order.next()) {
            while (next < recording.clusters.size() &&
                   recording.clusters[next].offset <= entry.packet->offset) {
                pending = recording.clusters[next++];
                hasPending = true;
            }
            if (entry.packet->isLost == 0)
                writeBlock(entry.track, *entry.packet);
        }
        closeCluster();
    }

    void writeBlock(std::size_t index, Packet &packet)
    {
        MatroskaTrack &track = recording.tracks[index];
        const ByteView element = reader.read(packet.offset, packet.size);
        const FrameSpan frames = element.size() == packet.size ? framesOf(element) : FrameSpan();
        const ByteView content = element.subspan(frames.from, frames.to - frames.from);
        if (frames.to == 0 || PacketContent::isOverwritten(content, track.content)) {
            packet.setLost(true);
            return;
        }
        if (hasPending) {
            closeCluster();
            openCluster();
        }
        expected[index].digest.addBytes(expected[index].comparesBytes ? content : ByteView());
        // FFmpeg's reader leaves empty ones out.
        if (!content.empty())
            expected[index].digest.addPacket(packet.time, content.size());
        if (track.kind == TrackKind::Video && packet.isKey != 0 && packet.time >= 0 && !hasCue)
            addCue(track, packet);
        output.write(element);
        const std::int64_t duration = std::max<std::int64_t>(track.lastDuration, 0);
        end = std::max(end, packet.time + duration);
    }

    void openCluster()
    {
        hasPending = false;
        hasCue = false;
        clusterStart = output.position();
        Bytes bytes;
        appendLongElementHeader(bytes, MatroskaId::cluster, 0);
        clusterBody = clusterStart + bytes.size();
        appendNumber(bytes, MatroskaId::clusterTime, static_cast<std::uint64_t>(pending.time));
        output.write(bytes);
    }

    void closeCluster()
    {
        if (clusterStart == 0)
            return;
        Bytes bytes;
        appendLongElementHeader(bytes, MatroskaId::cluster, output.position() - clusterBody);
        output.patch(clusterStart, bytes);
        clusterStart = 0;
    }

    void addCue(const MatroskaTrack &track, const Packet &packet)
    {
        hasCue = true;
        Bytes position;
        appendNumber(position, MatroskaId::cueTrack, track.number);
        appendNumber(position, MatroskaId::cueCluster, clusterStart - segmentBody);
        Bytes point;
        appendNumber(point, MatroskaId::cueTime, static_cast<std::uint64_t>(packet.time));
        appendElement(point, MatroskaId::cuePositions, position);
        appendElement(cues, MatroskaId::cuePoint, point);
    }

    void writeCues()
    {
        if (cues.empty())
            return;
        places[MatroskaId::cues] = output.position() - segmentBody;
        Bytes bytes;
        appendElement(bytes, MatroskaId::cues, cues);
        output.write(bytes);
    }

    void finish()
    {
        Bytes segment;
        appendLongElementHeader(segment, MatroskaId::segment, output.position() - segmentBody);
        output.patch(segmentStart, segment);
        output.patch(infoStart, makeInfo(static_cast<double>(end)));
        Bytes seeks;
        for (const auto &[id, place] : places) {
            Bytes seek;
            Bytes name;
            appendBe(name, id, 4);
            appendElement(seek, MatroskaId::seekId, name);
            appendNumber(seek, MatroskaId::seekPosition, place);
            appendElement(seeks, MatroskaId::seek, seek);
        }
        Bytes head;
        appendElement(head, MatroskaId::seekHead, seeks);
        constexpr std::size_t longHeader = 9;
        Bytes filler(seekHeadRoom - head.size() - longHeader);
        appendLongElementHeader(head, MatroskaId::filler, filler.size());
        appendBytes(head, filler);
        output.patch(segmentBody, head);
        output.close();
    }

    const SourceFile &description;
    MatroskaRecording &recording;
    OutputFile output;
    ForwardReader reader;
    std::vector<ExpectedTrack> expected;
    /** Of the parts, counted from the segment's body. */
    std::map<std::uint32_t, std::uint64_t> places;
    std::uint64_t segmentStart = 0;
    std::uint64_t segmentBody = 0;
    std::uint64_t infoStart = 0;
    std::uint64_t clusterStart = 0;
    std::uint64_t clusterBody = 0;
    MatroskaCluster pending;
    bool hasPending = false;
    bool hasCue = false;
    Bytes cues;
    /** When the last of all ends. */
    std::int64_t end = 0;
};

} // namespace

std::vector<ExpectedTrack> writeMatroska(const SourceFile &source, MatroskaRecording &recording,
                                         const std::string &path)
{
    return writeMatroskaLike(source, source, recording, path);
}

std::vector<ExpectedTrack> writeMatroskaLike(const SourceFile &media, const SourceFile &description,
                                             MatroskaRecording &recording, const std::string &path)
{
    return Writer(media, description, recording, path).run();
}
