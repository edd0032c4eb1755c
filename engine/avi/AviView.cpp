#include "engine/avi/AviView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>

namespace {

constexpr std::size_t chunkHeader = 8;

// The header of a file of many streams is some ten thousand bytes long.
constexpr std::uint64_t longestHeader = 1U << 20U;

struct Chunk
{
    /** 'v' or 'a'; others are of no stream. */
    char kind = 0;
    unsigned stream = 0;
    std::uint64_t size = 0;
    /** With its header, and the byte that makes it even. */
    std::uint64_t whole() const { return chunkHeader + size + (size & 1U); }
};

std::string_view textOf(ByteView bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

/** The chunk of a stream at this place, all of it there. */
std::optional<Chunk> chunkAt(const SourceFile &source, std::uint64_t position)
{
    const ByteView head = source.view(position, chunkHeader);
    if (head.size() < chunkHeader)
        return std::nullopt;
    const auto digit = [&head](std::size_t i) { return head[i] >= '0' && head[i] <= '9'; };
    const std::string_view type = textOf(head.subspan(2, 2));
    Chunk chunk = {.kind = type == "dc" || type == "db" ? 'v' : type == "wb" ? 'a' : '\0'};
    chunk.size = le32(&head[4]);
    if (!digit(0) || !digit(1) || chunk.kind == 0 ||
        position + chunkHeader + chunk.size > source.size())
        return std::nullopt;
    chunk.stream = (head[0] - '0') * 10U + head[1] - '0';
    return chunk;
}

/** Parts of the list that are of no stream: indexes of it, and lists in it. */
std::optional<std::uint64_t> otherPartAt(const SourceFile &source, std::uint64_t position)
{
    constexpr std::uint64_t listHeader = 12;
    const ByteView head = source.view(position, listHeader);
    if (head.size() < listHeader)
        return std::nullopt;
    const std::string_view type = textOf(head.first(4));
    if (type == "LIST" || type == "RIFF")
        return listHeader;
    const std::uint64_t size = chunkHeader + le32(&head[4]) + (head[4] & 1U);
    if (type == "JUNK" || type == "idx1" || type.starts_with("ix"))
        return size;
    return std::nullopt;
}

bool isChain(const SourceFile &source, std::uint64_t position)
{
    constexpr int chunksToFollow = 3;
    for (int i = 0; i < chunksToFollow; ++i) {
        const auto chunk = chunkAt(source, position);
        if (!chunk)
            return false;
        position += chunk->whole();
    }
    return true;
}

struct Stream
{
    char kind = 0;
    std::uint64_t chunks = 0;
    std::uint64_t bytes = 0;
    /** Beginning of its first chunk that is not empty. */
    Bytes start = {};
    /** Its list in the header, from what is left of that or made anew. */
    Bytes list = {};
};

struct Span
{
    std::uint64_t offset;
    std::uint64_t size;
};

class AviMender
{
public:
    explicit AviMender(PiecedFile &target) : file(target), source(target.damaged()) {}

    bool run()
    {
        findChunks();
        findLists();
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
    void findChunks()
    {
        std::uint64_t position = 0;
        while (position < source.size()) {
            const auto chunk = chunkAt(source, position);
            if (chunk && (isInList || isChain(source, position))) {
                take(*chunk, position);
                position += chunk->whole();
                isInList = true;
                continue;
            }
            const auto other = isInList ? otherPartAt(source, position) : std::nullopt;
            isInList = other.has_value();
            position += other.value_or(1);
        }
    }

    void take(const Chunk &chunk, std::uint64_t position)
    {
        constexpr std::uint64_t startSize = 64;
        Stream &stream = streams[chunk.stream];
        if (stream.kind == 0)
            stream.kind = chunk.kind;
        ++stream.chunks;
        stream.bytes += chunk.size;
        if (stream.start.empty())
            stream.start =
                source.copy(position + chunkHeader, std::min<std::uint64_t>(chunk.size, startSize));
        const std::uint64_t size = std::min(chunk.whole(), source.size() - position);
        if (!spans.empty() && spans.back().offset + spans.back().size == position)
            spans.back().size += size;
        else
            spans.push_back({position, size});
        firstChunk = std::min(firstChunk, position);
    }

    /** Lists of streams that the head still has. */
    void findLists()
    {
        constexpr std::uint64_t listHeader = 12;
        const Bytes head = source.copy(0, std::min(longestHeader, firstChunk));
        const std::string_view text = textOf(head);
        for (std::size_t place = text.find("strlstrh"); place != std::string_view::npos;
             place = text.find("strlstrh", place + 1)) {
            if (place < chunkHeader || text.substr(place - chunkHeader, 4) != "LIST" ||
                place + listHeader + chunkHeader > text.size())
                continue;
            const std::size_t size = le32(&head[place - 4]);
            const char kind = text[place + listHeader] == 'v' ? 'v' : 'a';
            if (size > head.size() - place)
                continue;
            // Of several streams of one kind, the last ones have kept theirs.
            const auto stream =
                std::find_if(streams.rbegin(), streams.rend(), [kind](const auto &one) {
                    return one.second.kind == kind && one.second.list.empty();
                });
            if (stream != streams.rend())
                stream->second.list.assign(
                    head.begin() + static_cast<std::ptrdiff_t>(place - chunkHeader),
                    head.begin() + static_cast<std::ptrdiff_t>(place + size));
        }
    }

    /** What the pictures are coded as; none when it cannot be told. */
    static std::string_view codecOf(ByteView start)
    {
        if (start.size() < 5)
            return {};
        const bool isLongCode = be32(start.data()) == 1;
        if (be16(start.data()) == 0xffd8)
            return "MJPG";
        if (be24(start.data()) == 1 && start[3] >= 0xb0)
            return start[3] == 0xb3 ? "mpg2" : "FMP4";
        if (be24(start.data()) == 1 && start[3] <= 0x2f)
            return "FMP4";
        if (isLongCode && ((start[4] & 0x1fU) == 7 || (start[4] & 0x1fU) == 9))
            return "H264";
        if (isLongCode && (start[4] == 0x40 || start[4] == 0x46))
            return "HEVC";
        return {};
    }

    /** Pictures in a second, in thousandths, told by how long the sound is. */
    std::uint32_t pictureRate(const Stream &video) const
    {
        constexpr std::array usual = {23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0, 15.0};
        constexpr double thousand = 1000;
        double rate = 25;
        for (const auto &[number, stream] : streams) {
            const std::string_view text = textOf(stream.list);
            const std::size_t format = text.find("strf");
            if (stream.kind != 'a' || format == std::string_view::npos || format + 20 > text.size())
                continue;
            const double bytesPerSecond = le32(&stream.list[format + chunkHeader + 8]);
            if (bytesPerSecond > 0 && stream.bytes > 0)
                rate = static_cast<double>(video.chunks) * bytesPerSecond /
                       static_cast<double>(stream.bytes);
        }
        const auto *nearest =
            std::min_element(usual.begin(), usual.end(), [rate](double a, double b) {
                return std::abs(a - rate) < std::abs(b - rate);
            });
        constexpr double near = 0.02;
        if (std::abs(*nearest - rate) < near * rate)
            rate = *nearest;
        return static_cast<std::uint32_t>(std::lround(rate * thousand));
    }

    static void appendText(Bytes &target, std::string_view text)
    {
        target.insert(target.end(), text.begin(), text.end());
    }

    static void appendChunk(Bytes &target, std::string_view type, ByteView body)
    {
        appendText(target, type);
        appendLe(target, body.size(), 4);
        appendBytes(target, body);
    }

    Bytes videoList(const Stream &stream) const
    {
        const std::string_view codec = codecOf(stream.start);
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
        Bytes list;
        appendText(list, "strl");
        appendChunk(list, "strh", header);
        appendChunk(list, "strf", format);
        Bytes whole;
        appendChunk(whole, "LIST", list);
        return whole;
    }

    void build(unsigned known)
    {
        Bytes header;
        appendText(header, "hdrl");
        Bytes main(56);
        constexpr std::size_t streamCount = 24;
        main[streamCount] = static_cast<std::uint8_t>(known);
        appendChunk(header, "avih", main);
        for (unsigned i = 0; i < known; ++i)
            appendBytes(header, streams[i].list);
        std::uint64_t media = 4;
        for (const Span &span : spans)
            media += span.size;
        Bytes start;
        appendText(start, "RIFF");
        // Larger ones are read to their end all the same.
        appendLe(start, 0, 4);
        appendText(start, "AVI ");
        appendChunk(start, "LIST", header);
        appendText(start, "LIST");
        appendLe(start, std::min<std::uint64_t>(media, 0xffffffffU), 4);
        appendText(start, "movi");
        file.add(std::move(start));
        for (const Span &span : spans)
            file.addSpan(span.offset, span.size);
    }

    PiecedFile &file;
    const SourceFile &source;
    std::map<unsigned, Stream> streams;
    std::vector<Span> spans;
    std::uint64_t firstChunk = longestHeader;
    bool isInList = false;
};

} // namespace

bool addMendedAvi(PiecedFile &file)
{
    return AviMender(file).run();
}
