#include "engine/iso/IsoCheck.h"

#include "engine/iso/SampleTables.h"
#include "engine/iso/TrackHeaders.h"
#include "engine/recording/KeyPictures.h"
#include "engine/recording/Progress.h"
#include "engine/recording/SelfCheck.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <future>
#include <mutex>
#include <optional>

namespace {

// Small enough to stay in the processor's cache until it has been hashed.
constexpr std::size_t bufferSize = 256U << 10U;

std::string nameOf(std::size_t track)
{
    return " in track " + std::to_string(track + 1);
}

/** Compares all bytes behind the head, a piece at a time; several threads may take pieces. */
class BodyCheck
{
public:
    BodyCheck(std::string ofPath, const WrittenIso &expected)
        : path(std::move(ofPath)), written(expected), progress("checked", expected.size)
    {
    }

    /** Takes pieces until there are no more. Throws OutputNotSound. */
    void work()
    {
        const SourceFile file(path);
        Bytes buffer(bufferSize);
        for (std::size_t i = next++; i < written.bodyHashes.size(); i = next++) {
            if (hashOfPiece(file, i, buffer) != written.bodyHashes[i])
                throw notSound("bytes differ");
        }
    }

private:
    std::uint64_t hashOfPiece(const SourceFile &file, std::size_t number, Bytes &buffer)
    {
        std::uint64_t place = written.head.size() + number * OutputFile::hashedPiece;
        const std::uint64_t end = std::min(place + OutputFile::hashedPiece, file.size());
        ByteHash hash;
        while (place < end) {
            const auto wanted =
                static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), end - place));
            const std::size_t size = file.read(place, buffer.data(), wanted);
            if (size == 0)
                throw notSound("it cannot be read to its end");
            hash.add(ByteView(buffer).first(size));
            place += size;
            tell(size);
        }
        return hash.value();
    }

    void tell(std::uint64_t bytes)
    {
        const std::lock_guard lock(mutex);
        done += bytes;
        progress.reach(done);
    }

    std::string path;
    const WrittenIso &written;
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    /** Of all threads. */
    std::uint64_t done = 0;
    Progress progress;
};

void checkEnds(const SourceFile &file, const WrittenIso &written)
{
    if (file.size() != written.size)
        throw notSound(std::to_string(file.size()) + " bytes instead of " +
                       std::to_string(written.size));
    if (file.copy(0, written.head.size()) != written.head)
        throw notSound("its first bytes differ");
}

/** Our own reader understands the tables as they were meant. */
void checkTables(const SourceFile &file, const WrittenIso &written)
{
    const auto index = findBox(readBoxes(file, 0, file.size()), fourCc("moov"));
    if (!index)
        throw notSound("its index is not there");
    IsoRecording recording = readTrackHeaders(file, *index);
    if (recording.tracks.size() != written.tracks.size())
        throw notSound("tracks are missing");
    for (std::size_t i = 0; i < written.tracks.size(); ++i) {
        IsoTrack &track = recording.tracks[i];
        if (written.tracks[i].isUniform)
            continue;
        TableHash hash(track.tables.keySamples.has_value());
        visitSampleTables(file, track, written.tracks[i].packets,
                          [&hash](const Packet &packet) { hash.add(packet); });
        if (hash.value() != written.tracks[i].tableHash)
            throw notSound("the index differs" + nameOf(i));
    }
}

/** FFmpeg's reader finds every packet of one track at its place, and reads some of them. */
class TrackCheck
{
public:
    TrackCheck(AVFormatContext &opened, AVStream &ofTrack, std::size_t index,
               const WrittenTrack &expected)
        : input(opened),
          number(index),
          stream(ofTrack),
          track(expected),
          pictures(stream, expected.packets)
    {
    }

    void run()
    {
        const std::vector<std::optional<std::int64_t>> starts = checkIndex();
        for (std::size_t i = 0; i < starts.size(); ++i) {
            if (starts[i])
                readStretch(track.stretches[i], *starts[i]);
        }
        if (pictures.areAllBroken())
            throw notDecodable();
    }

private:
    /**
     * @return by which time FFmpeg finds the first packet of each stretch; none where others have
     *     the same
     */
    std::vector<std::optional<std::int64_t>> checkIndex()
    {
        const int count = avformat_index_get_entries_count(&stream);
        const auto timeOf = [this](int i) {
            return avformat_index_get_entry(&stream, i)->timestamp;
        };
        std::vector<std::optional<std::int64_t>> starts;
        PlaceHash places(track.isUniform);
        for (int i = 0; i < count; ++i) {
            const AVIndexEntry entry = *avformat_index_get_entry(&stream, i);
            places.add(static_cast<std::uint64_t>(entry.pos),
                       static_cast<std::uint64_t>(entry.size), entry.timestamp - timeOf(0));
            if (!isStart(starts.size(), static_cast<std::uint64_t>(i), entry))
                continue;
            const bool isAlone = (i == 0 || timeOf(i - 1) < entry.timestamp) &&
                                 (i + 1 == count || timeOf(i + 1) > entry.timestamp);
            starts.push_back(isAlone ? std::optional(entry.timestamp) : std::nullopt);
        }
        if (places.value() != track.placeHash || starts.size() != track.stretches.size())
            throw notSound("packets do not stand where they were written" + nameOf(number));
        return starts;
    }

    bool isStart(std::size_t stretch, std::uint64_t entryNumber, const AVIndexEntry &entry) const
    {
        if (stretch >= track.stretches.size())
            return false;
        const WrittenPacket &first = track.stretches[stretch].front();
        return track.isUniform ? static_cast<std::uint64_t>(entry.pos) == first.offset
                               : entryNumber == first.number;
    }

    void readStretch(const std::vector<WrittenPacket> &stretch, std::int64_t start)
    {
        if (av_seek_frame(&input, stream.index, start, AVSEEK_FLAG_ANY) < 0)
            throw notSound("a place cannot be reached" + nameOf(number));
        left = mostBetween;
        // FFmpeg seeks by when packets are shown, and so comes out some packets before.
        do {
            if (!readNext())
                return;
        } while (static_cast<std::uint64_t>(packet->pos) != stretch.front().offset);
        for (const WrittenPacket &expected : stretch) {
            if (&expected != &stretch.front() && !goOn())
                return;
            checkPacket(expected);
        }
    }

    /** To the track's next packet; false when too much of other tracks stands before it. */
    bool goOn()
    {
        if (readNext())
            return true;
        if (left > 0)
            throw notSound("it cannot be read to its end");
        return false;
    }

    /** Begins with the packet that has been read. */
    void checkPacket(const WrittenPacket &expected)
    {
        checkFirst(expected);
        ByteHash hash;
        std::uint64_t size = 0;
        for (;;) {
            hash.add({packet->data, static_cast<std::size_t>(packet->size)});
            size += static_cast<std::uint64_t>(packet->size);
            if (!track.isUniform || size >= expected.size || packet->size == 0)
                break;
            if (!goOn())
                return;
        }
        if (size != expected.size || hash.value() != expected.hash)
            throw notSound("bytes differ" + nameOf(number));
    }

    /** The track's next packet; false behind the last, or when `left` is used up. */
    bool readNext()
    {
        for (; left > 0; --left) {
            av_packet_unref(packet.get());
            if (av_read_frame(&input, packet.get()) < 0)
                return false;
            if (packet->stream_index == stream.index)
                return true;
        }
        return false;
    }

    void checkFirst(const WrittenPacket &expected)
    {
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
            throw notSound("a packet is not whole" + nameOf(number));
        if (static_cast<std::uint64_t>(packet->pos) != expected.offset)
            throw notSound("packets are read from elsewhere" + nameOf(number));
        if (track.isUniform)
            return;
        // Where they count from, the reader sets: for all packets alike.
        if (!origin)
            origin = packet->pts - expected.shown;
        if (packet->pts - *origin != expected.shown)
            throw notSound("times differ" + nameOf(number));
        if (expected.isKey && (packet->flags & AV_PKT_FLAG_KEY) == 0)
            throw notSound("a key picture is not marked" + nameOf(number));
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            pictures.see(*packet, expected.number + 1);
    }

    // Packets of all tracks that a stretch may take: tracks of data have few among many others.
    static constexpr int mostBetween = 1024;

    AVFormatContext &input;
    std::size_t number;
    AVStream &stream;
    const WrittenTrack &track;
    KeyPictures pictures;
    Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    std::optional<std::int64_t> origin;
    int left = 0;
};

void checkWithFfmpeg(const std::string &path, const WrittenIso &written)
{
    const Ffmpeg::InputPtr input = openWritten(path);
    const std::vector<AVStream *> streams = writtenStreams(*input);
    if (streams.size() < written.tracks.size())
        throw notSound("tracks are missing");
    for (std::size_t i = 0; i < written.tracks.size(); ++i) {
        // Tracks that hold another's chapters are read with that one, not as packets.
        if (streams[i]->discard < AVDISCARD_ALL)
            TrackCheck(*input, *streams[i], i, written.tracks[i]).run();
    }
}

} // namespace

void checkIso(const std::string &path, const WrittenIso &written)
{
    const SourceFile file(path);
    checkEnds(file, written);
    BodyCheck body(path, written);
    // Reading all bytes and understanding an index of millions of packets each take long.
    auto beside = std::async(std::launch::async, [&] {
        checkTables(SourceFile(path), written);
        body.work();
    });
    std::exception_ptr failure;
    try {
        checkWithFfmpeg(path, written);
        body.work();
    } catch (...) {
        failure = std::current_exception();
    }
    // Bytes that differ say more than what FFmpeg makes of them.
    beside.get();
    if (failure)
        std::rethrow_exception(failure);
}
