#include "engine/avi/AviView.h"

#include "engine/avi/AviChunks.h"
#include "engine/avi/AviPictures.h"
#include "engine/avi/AviSound.h"
#include "engine/recording/PacketCodec.h"
#include "engine/recording/PlainSound.h"
#include "engine/recording/RiffChunk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t chunkHeader = AviChunk::headerSize;

// The header of a file of many streams is some ten thousand bytes long.
constexpr std::uint64_t longestHeader = 1U << 20U;

// Chunks say theirs with two digits.
constexpr std::size_t mostStreams = 100;

struct Stream
{
    char kind = 0;
    /** Those that are there. */
    std::uint64_t chunks = 0;
    std::uint64_t bytes = 0;
    /** Those that were, as far as that is known. */
    std::uint64_t recordedChunks = 0;
    std::uint64_t recordedBytes = 0;
    /** The first of its chunks that are not empty. */
    std::vector<AviChunk> first = {};
    /** Its list in the header, from what is left of that or made anew. */
    Bytes list = {};
};

class AviMender
{
public:
    AviMender(PiecedFile &target, std::uint64_t searchReach)
        : file(target),
          source(target.damaged()),
          content(findAviChunks(source, searchReach)),
          firstChunk(content.chunks.empty() ? 0 : std::min(longestHeader, content.chunks[0].offset))
    {
    }

    /** What is not left of the header stands in this one's. */
    void setSample(const SourceFile &ofDevice) { sample = &ofDevice; }

    /** There is damage among the chunks, or none of it. */
    bool isDamaged() const { return !content.holes.empty(); }

    bool run()
    {
        for (const AviChunk &chunk : content.chunks)
            count(chunk);
        countRecorded();
        findLists();
        takeLists();
        for (auto &[number, stream] : streams) {
            if (stream.list.empty() && stream.kind == 'a')
                stream.list = soundList(stream);
        }
        for (auto &[number, stream] : streams) {
            if (stream.list.empty() && stream.kind == 'v')
                stream.list = videoList(stream);
        }
        // Streams count without a hole: one of which nothing is known ends the file's list.
        unsigned known = 0;
        for (auto it = streams.begin();
             it != streams.end() && it->first == known && !it->second.list.empty(); ++it)
            ++known;
        if (known == 0)
            return false;
        build(known);
        return true;
    }

private:
    void count(const AviChunk &chunk)
    {
        Stream &stream = streams[chunk.stream];
        if (stream.kind == 0)
            stream.kind = chunk.kind;
        ++stream.chunks;
        stream.bytes += chunk.size;
        constexpr std::size_t mostFirst = 24;
        if (chunk.size > 0 && stream.first.size() < mostFirst)
            stream.first.push_back(chunk);
    }

    /** With those that only an index tells of. */
    void countRecorded()
    {
        for (const AviChunk &entry : content.index) {
            const auto stream = streams.find(entry.stream);
            if (stream == streams.end())
                continue;
            ++stream->second.recordedChunks;
            stream->second.recordedBytes += entry.size;
        }
        for (auto &[number, stream] : streams) {
            stream.recordedChunks = std::max(stream.recordedChunks, stream.chunks);
            stream.recordedBytes = std::max(stream.recordedBytes, stream.bytes);
        }
    }

    struct FoundList
    {
        /** 'v', 'a' or 0 for others. */
        char kind = 0;
        Bytes list = {};
    };

    /** The whole lists of streams in a header, as they follow one another there. */
    static std::vector<FoundList> listsIn(const Bytes &head)
    {
        constexpr std::size_t typePlace = 12;
        std::vector<FoundList> lists;
        const std::string_view text = textOf(head);
        for (std::size_t place = text.find("strlstrh");
             place != std::string_view::npos && lists.size() < mostStreams;
             place = text.find("strlstrh", place + 1)) {
            if (place < chunkHeader || text.substr(place - chunkHeader, 4) != "LIST" ||
                place + typePlace >= text.size())
                continue;
            const std::size_t size = le32(&head[place - 4]);
            if (size > head.size() - place)
                continue;
            const char kind = text[place + typePlace];
            lists.push_back({.kind = kind == 'v' || kind == 'a' ? kind : '\0',
                             .list = withoutIndex(
                                 {head.begin() + static_cast<std::ptrdiff_t>(place - chunkHeader),
                                  head.begin() + static_cast<std::ptrdiff_t>(place + size)})});
        }
        return lists;
    }

    /** Whether streams numbered like this are of their lists' kinds, as far as they have chunks. */
    bool areNumbered(const std::vector<FoundList> &lists, std::size_t first) const
    {
        for (std::size_t i = 0; i < lists.size(); ++i) {
            const auto stream = streams.find(static_cast<unsigned>(first + i));
            if (stream != streams.end() && stream->second.kind != lists[i].kind)
                return false;
        }
        return true;
    }

    /** How many streams the main header says that there are; 0 where it is lost. */
    static std::size_t statedStreams(const Bytes &head)
    {
        constexpr std::size_t countPlace = 24;
        const std::size_t place = textOf(head).find("avih");
        return place != std::string_view::npos &&
                       place + chunkHeader + countPlace + 4 <= head.size()
                   ? le32(&head[place + chunkHeader + countPlace])
                   : 0;
    }

    void assign(std::vector<FoundList> lists, std::size_t first)
    {
        for (std::size_t i = 0; i < lists.size(); ++i) {
            const auto stream = streams.find(static_cast<unsigned>(first + i));
            if (stream != streams.end() && stream->second.list.empty() &&
                stream->second.kind == lists[i].kind)
                stream->second.list = std::move(lists[i].list);
        }
    }

    /**
     * Lists of streams that the head still has. They stand in the order of the streams' numbers;
     * where some are lost, the last ones are left.
     */
    void findLists()
    {
        const Bytes head = source.copy(0, std::min(longestHeader, firstChunk));
        auto lists = listsIn(head);
        const std::size_t stated = statedStreams(head);
        const std::size_t known = streams.empty() ? 0 : streams.rbegin()->first + std::size_t{1};
        std::size_t total = stated >= known && stated <= mostStreams ? stated : known;
        // Streams without a chunk may come behind those that have some.
        for (total = std::max(total, lists.size()); total <= mostStreams; ++total) {
            const std::size_t first = total - lists.size();
            if (areNumbered(lists, first)) {
                assign(std::move(lists), first);
                break;
            }
        }
        findInformation(head);
    }

    /** Lists of the sample's streams, in the order of their numbers. */
    void takeLists()
    {
        if (sample == nullptr)
            return;
        Bytes head = sample->copy(0, longestHeader);
        head.resize(std::min(textOf(head).find("movi"), head.size()));
        assign(listsIn(head), 0);
    }

    /** Its index of indexes would lead to places in the damaged file. */
    static Bytes withoutIndex(Bytes list)
    {
        std::size_t position = chunkHeader + 4;
        while (position + chunkHeader <= list.size()) {
            if (textOf(list).substr(position, 4) == "indx")
                std::copy_n("JUNK", 4, list.begin() + static_cast<std::ptrdiff_t>(position));
            const std::uint64_t size = le32(&list[position + 4]);
            position += static_cast<std::size_t>(chunkHeader + size + (size & 1U));
        }
        return list;
    }

    /** Titles and the like. */
    void findInformation(const Bytes &head)
    {
        const std::string_view text = textOf(head);
        const std::size_t place = text.find("INFO");
        if (place == std::string_view::npos || place < chunkHeader ||
            text.substr(place - chunkHeader, 4) != "LIST")
            return;
        const std::size_t size = le32(&head[place - 4]);
        if (size <= head.size() - place)
            information.assign(head.begin() + static_cast<std::ptrdiff_t>(place - chunkHeader),
                               head.begin() + static_cast<std::ptrdiff_t>(place + size));
        information.resize(information.size() + information.size() % 2);
    }

    /** Made anew, of sound that says itself how it is coded, or looks like nothing else. */
    Bytes soundList(const Stream &sound) const
    {
        // Where the pictures' list is lost too, a usual rate must lead to sound of a usual rate.
        constexpr std::array usual = {30.0, 25.0, 24.0, 50.0, 60.0, 15.0};
        UnknownStream unknown;
        for (const AviChunk &chunk : sound.first)
            unknown.packets.push_back(source.copy(chunk.offset + chunkHeader, chunk.size));
        const auto video = std::find_if(streams.begin(), streams.end(),
                                        [](const auto &one) { return one.second.kind == 'v'; });
        if (video == streams.end() || sound.first.empty())
            return {};
        const double stated = pictureRateOf(video->second);
        for (const double rate : usual) {
            unknown.secondsPerPacket = static_cast<double>(video->second.recordedChunks) /
                                       (stated > 0 ? stated : rate) /
                                       static_cast<double>(sound.recordedChunks);
            const auto told = tellCodec(unknown);
            if (told && told->codec_type == AVMEDIA_TYPE_AUDIO)
                return makeSoundList(*told, sound.recordedChunks, sound.recordedBytes);
            if (stated > 0)
                break;
        }
        return {};
    }

    /** How long all of a stream of sound lasts by what its list says; 0 when that is unknown. */
    static double soundSeconds(const Stream &sound)
    {
        constexpr std::size_t scalePlace = 20;
        constexpr std::size_t ratePlace = 24;
        constexpr std::size_t sampleSizePlace = 44;
        constexpr std::size_t bytesPerSecondPlace = 8;
        const std::string_view text = textOf(sound.list);
        const std::size_t header = text.find("strh");
        const std::size_t format = text.find("strf");
        if (header == std::string_view::npos || format == std::string_view::npos ||
            header + chunkHeader + sampleSizePlace + 4 > text.size() ||
            format + chunkHeader + bytesPerSecondPlace + 4 > text.size())
            return 0;
        const std::uint8_t *fields = &sound.list[header + chunkHeader];
        const double rate = le32(fields + ratePlace);
        // Chunks of sound without a size of samples last as long as one another.
        if (le32(fields + sampleSizePlace) == 0 && rate > 0)
            return static_cast<double>(sound.recordedChunks) * le32(fields + scalePlace) / rate;
        const double bytesPerSecond = le32(&sound.list[format + chunkHeader + bytesPerSecondPlace]);
        return bytesPerSecond > 0 ? static_cast<double>(sound.recordedBytes) / bytesPerSecond : 0;
    }

    /** Pictures in a second, in thousandths, told by how long the sound is. */
    std::uint32_t pictureRate(const Stream &video) const
    {
        constexpr std::array usual = {30.0, 25.0, 24.0, 50.0, 60.0, 15.0, 29.97, 23.976, 59.94};
        constexpr double thousand = 1000;
        constexpr double farthest = 0.02;
        double rate = 25;
        for (const auto &[number, stream] : streams) {
            const double length = stream.kind == 'a' ? soundSeconds(stream) : 0;
            if (length > 0)
                rate = static_cast<double>(video.recordedChunks) / length;
        }
        // Sound may be longer than the pictures by one of them; the first rates of the list are
        // the likelier ones.
        constexpr double near = 0.0003;
        const double onePicture =
            1 / static_cast<double>(std::max<std::uint64_t>(video.recordedChunks, 1));
        for (const double one : usual) {
            if (std::abs(one / rate - 1) < std::min(near + onePicture, farthest)) {
                rate = one;
                break;
            }
        }
        constexpr double highest = 1000;
        return static_cast<std::uint32_t>(
            std::lround(std::clamp(rate * thousand, 1.0, highest * thousand)));
    }

    Bytes videoList(const Stream &stream) const
    {
        std::string_view codec;
        // What is left of the first chunk may have lost its beginning.
        for (const AviChunk &chunk : stream.first) {
            codec = aviPictureCodec(source.copy(chunk.offset + chunkHeader,
                                                std::min<std::uint64_t>(chunk.size, longestMark)));
            if (!codec.empty())
                break;
        }
        if (codec.empty())
            return {};
        Bytes header;
        appendText(header, "vids");
        appendText(header, codec);
        appendLe(header, 0, 12);
        appendLe(header, 1000, 4);
        appendLe(header, pictureRate(stream), 4);
        appendLe(header, 0, 4);
        appendLe(header, stream.chunks, 4);
        appendLe(header, 0, 20);
        Bytes format;
        appendLe(format, 40, 4);
        appendLe(format, 0, 8);
        appendLe(format, 1, 2);
        appendLe(format, 24, 2);
        appendText(format, codec);
        format.resize(40);
        return streamList(header, format);
    }

    void build(unsigned known)
    {
        Bytes header;
        appendText(header, "hdrl");
        Bytes main(56);
        constexpr std::size_t streamCount = 24;
        main[streamCount] = static_cast<std::uint8_t>(known);
        appendRiffChunk(header, "avih", main);
        for (unsigned i = 0; i < known; ++i) {
            appendBytes(header, streams[i].list);
            header.resize(header.size() + header.size() % 2);
        }
        Bytes start;
        appendText(start, "RIFF");
        // Larger ones are read to their end all the same.
        appendLe(start, 0, 4);
        appendText(start, "AVI ");
        appendRiffChunk(start, "LIST", header);
        appendBytes(start, information);
        appendText(start, "LIST");
        // To the end.
        appendLe(start, 0, 4);
        appendText(start, "movi");
        file.add(std::move(start));
        addChunks();
    }

    void addChunks()
    {
        auto hole = content.holes.begin();
        for (std::size_t i = 0; i <= content.chunks.size(); ++i) {
            for (; hole != content.holes.end() && hole->next == i; ++hole)
                fill(*hole);
            if (i == content.chunks.size())
                break;
            const AviChunk &chunk = content.chunks[i];
            file.addSpan(chunk.offset, std::min(chunk.end(), source.size()) - chunk.offset);
        }
    }

    static void appendHeader(Bytes &target, unsigned stream, char kind, std::uint64_t size)
    {
        const bool isPicture = kind == 'v';
        for (const unsigned letter :
             {'0' + stream / 10, '0' + stream % 10, isPicture ? unsigned{'d'} : unsigned{'w'},
              isPicture ? unsigned{'c'} : unsigned{'b'}})
            target.push_back(static_cast<std::uint8_t>(letter));
        appendLe(target, size, 4);
    }

    /**
     * Time counts in chunks and bytes: where some are lost, something must stand in their place.
     * Empty pictures do, as recorders write them that come too late; and of sound what there is of
     * it, or silence.
     */
    void fill(const AviHole &hole)
    {
        auto entry = std::lower_bound(
            content.index.begin(), content.index.end(), hole.from,
            [](const AviChunk &chunk, std::uint64_t place) { return chunk.offset < place; });
        if (entry == content.index.end() || entry->offset >= hole.to) {
            guess(hole);
            return;
        }
        for (; entry != content.index.end() && entry->offset < hole.to; ++entry) {
            // Of compressed sound, what was overwritten is nothing that a decoder could take.
            const bool isThere = entry->kind == 'a' && entry->end() <= hole.to &&
                                 formatOf(streams[entry->stream]).blockSize > 0;
            Bytes header;
            appendHeader(header, entry->stream, entry->kind, isThere ? entry->size : 0);
            file.add(std::move(header));
            if (isThere)
                file.addSpan(entry->offset + chunkHeader,
                             entry->end() - entry->offset - chunkHeader);
        }
    }

    struct SoundFormat
    {
        double bytesPerSecond = 0;
        /** Bytes of a sample of each channel. */
        std::uint32_t blockSize = 0;
        std::uint32_t channels = 0;
    };

    /** Without an index: as many pictures as there are in so many bytes elsewhere. */
    void guess(const AviHole &hole)
    {
        // Bytes, of sound, and pictures: those of some hours.
        constexpr double longestFill = 1U << 30U;
        constexpr double mostPictures = 1U << 20U;
        std::uint64_t bytes = 0;
        for (const auto &[number, stream] : streams)
            bytes += stream.bytes + stream.chunks * chunkHeader;
        const auto video = std::find_if(streams.begin(), streams.end(),
                                        [](const auto &one) { return one.second.kind == 'v'; });
        if (video == streams.end() || bytes == 0)
            return;
        const double pictures = std::clamp(std::round(static_cast<double>(hole.to - hole.from) *
                                                      static_cast<double>(video->second.chunks) /
                                                      static_cast<double>(bytes)),
                                           0.0, mostPictures - filledPictures);
        filledPictures += pictures;
        // It is of one stream: the first that it can be of.
        bool isTailTaken = false;
        Bytes filling;
        for (int i = 0; i < static_cast<int>(pictures); ++i)
            appendHeader(filling, video->first, 'v', 0);
        for (const auto &[number, stream] : streams) {
            const SoundFormat format = formatOf(stream);
            const double rate = pictureRateOf(video->second);
            if (stream.kind != 'a' || format.blockSize == 0 || rate <= 0)
                continue;
            const auto blocks = static_cast<std::uint64_t>(std::llround(
                std::min(pictures / rate * format.bytesPerSecond, longestFill) / format.blockSize));
            const std::uint64_t tail = isTailTaken ? 0 : soundTail(hole, stream, format);
            isTailTaken = isTailTaken || tail > 0;
            std::uint64_t size = blocks * format.blockSize;
            size -= std::min(size, tail);
            appendHeader(filling, number, 'a', size);
            file.add(std::exchange(filling, {}));
            file.addZeros(size + (size & 1U));
            if (tail > 0)
                appendHeader(filling, number, 'a', tail);
            file.add(std::exchange(filling, {}));
            file.addSpan(hole.to - tail, tail);
        }
        file.add(std::move(filling));
    }

    /**
     * A hole ends where the next header is: before that may stand what is left of a chunk of sound
     * that has lost its own. Bytes of it at the hole's end, told by how smooth they are.
     */
    std::uint64_t soundTail(const AviHole &hole, const Stream &stream,
                            const SoundFormat &format) const
    {
        constexpr std::uint64_t blocksAtATime = 64;
        const std::uint64_t largest = stream.first.empty() ? 0 : stream.first.front().size;
        const PlainSoundLayout layout = {
            .channels = static_cast<int>(format.channels),
            .bytes = static_cast<int>(format.blockSize / std::max(format.channels, 1U))};
        const std::uint64_t step = blocksAtATime * format.blockSize;
        // Of other widths nothing can be told.
        const bool isKnown =
            (layout.bytes == 2 || layout.bytes == 3) && format.channels > 0 &&
            static_cast<std::uint32_t>(layout.bytes) * format.channels == format.blockSize;
        if (!isKnown || (largest & 1U) != 0)
            return 0;
        std::uint64_t tail = 0;
        while (tail + step <= std::min(largest, hole.to - hole.from)) {
            const Bytes bytes = source.copy(hole.to - tail - step, step);
            const auto rough = roughness(bytes, layout);
            if (!rough || *rough > roughestSound)
                break;
            tail += step;
        }
        return tail;
    }

    /** Of plain sound, as its list says; of other sound, nothing. */
    static SoundFormat formatOf(const Stream &stream)
    {
        constexpr std::uint32_t plain = 1;
        const std::size_t place = textOf(stream.list).find("strf");
        if (place == std::string_view::npos || place + chunkHeader + 14 > stream.list.size())
            return {};
        const std::uint8_t *fields = &stream.list[place + chunkHeader];
        if ((le32(fields) & 0xffffU) != plain)
            return {};
        return {.bytesPerSecond = static_cast<double>(le32(fields + 8)),
                .blockSize = fields[12] | static_cast<std::uint32_t>(fields[13]) << 8U,
                .channels = fields[2] | static_cast<std::uint32_t>(fields[3]) << 8U};
    }

    /** Pictures in a second as the stream's list says. */
    static double pictureRateOf(const Stream &stream)
    {
        const std::size_t place = textOf(stream.list).find("strh");
        if (place == std::string_view::npos || place + chunkHeader + 28 > stream.list.size())
            return 0;
        const std::uint32_t scale = le32(&stream.list[place + chunkHeader + 20]);
        const std::uint32_t rate = le32(&stream.list[place + chunkHeader + 24]);
        return scale > 0 ? static_cast<double>(rate) / scale : 0;
    }

    PiecedFile &file;
    const SourceFile &source;
    AviContent content;
    std::uint64_t firstChunk;
    std::map<unsigned, Stream> streams;
    Bytes information;
    /** In all holes. */
    double filledPictures = 0;
    const SourceFile *sample = nullptr;
};

} // namespace

bool addMendedAvi(PiecedFile &file, std::uint64_t searchReach)
{
    return AviMender(file, searchReach).run();
}

bool addAviLike(PiecedFile &file, const SourceFile &sample)
{
    AviMender mender(file, std::numeric_limits<std::uint64_t>::max());
    mender.setSample(sample);
    return mender.run();
}

bool addDamagedAvi(PiecedFile &file)
{
    AviMender mender(file, std::numeric_limits<std::uint64_t>::max());
    return mender.isDamaged() && mender.run();
}
