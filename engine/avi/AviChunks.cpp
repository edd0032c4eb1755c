#include "engine/avi/AviChunks.h"

#include "engine/recording/Recording.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

namespace {

constexpr std::uint64_t listHeader = 12;

/** A chunk's stream and kind by its name; kind 0 for others. */
AviChunk chunkNamed(ByteView name)
{
    const auto digit = [&name](std::size_t i) { return name[i] >= '0' && name[i] <= '9'; };
    const std::string_view type = textOf(name.subspan(2, 2));
    AviChunk chunk;
    if (!digit(0) || !digit(1))
        return chunk;
    chunk.stream = static_cast<std::uint16_t>((name[0] - '0') * 10 + name[1] - '0');
    chunk.kind = type == "dc" || type == "db" ? 'v' : type == "wb" ? 'a' : '\0';
    return chunk;
}

class Walk
{
public:
    Walk(const SourceFile &file, std::uint64_t reach)
        : source(file), end(std::min(reach, file.size()))
    {
    }

    AviContent run()
    {
        std::uint64_t position = 0;
        while (position < end)
            position = step(position);
        closeIndexes();
        addFirstHole();
        return std::move(content);
    }

private:
    /** The chunk of a stream at this place, all of it there. */
    std::optional<AviChunk> chunkAt(std::uint64_t position) const
    {
        const ByteView head = source.view(position, AviChunk::headerSize);
        if (head.size() < AviChunk::headerSize)
            return std::nullopt;
        AviChunk chunk = chunkNamed(head);
        chunk.offset = position;
        chunk.size = le32(&head[4]);
        const bool isThere = position + AviChunk::headerSize + chunk.size <= source.size();
        return chunk.kind != 0 && isThere ? std::optional(chunk) : std::nullopt;
    }

    bool isChain(std::uint64_t position)
    {
        constexpr int chunksToFollow = 3;
        // What is made up may look like a chunk at every place: each leads to another window.
        constexpr int mostFollowed = 1 << 18;
        for (int i = 0; i < chunksToFollow; ++i) {
            const auto chunk = chunkAt(position);
            if (chunk && i == 0 && ++followed > mostFollowed)
                return false;
            if (chunk)
                position = chunk->end();
            else if (const auto other = i > 0 ? otherPartAt(position) : std::nullopt)
                position = *other;
            else
                return i > 0 && position >= source.size();
        }
        return true;
    }

    /** Parts of the list that are of no stream: where the one at this place ends. */
    std::optional<std::uint64_t> otherPartAt(std::uint64_t position) const
    {
        const ByteView head = source.view(position, listHeader);
        if (head.size() < listHeader)
            return std::nullopt;
        const std::string_view type = textOf(head.first(4));
        if (type == "LIST" || type == "RIFF")
            return position + listHeader;
        const std::uint64_t size = AviChunk::headerSize + le32(&head[4]) + (head[4] & 1U);
        // Its size may be damaged: chunks may stand behind it all the same.
        if (size > source.size() - position)
            return std::nullopt;
        if (type == "JUNK" || type == "idx1" || type.starts_with("ix") ||
            textOf(head.subspan(2, 2)) == "pc" || textOf(head.subspan(2, 2)) == "tx")
            return position + size;
        return isForeignPart(type) && leadsOn(position + size) ? std::optional(position + size)
                                                               : std::nullopt;
    }

    /** Recorders have parts of their own. */
    static bool isForeignPart(std::string_view type)
    {
        return std::all_of(type.begin(), type.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   c == '_' || c == ' ';
        });
    }

    bool leadsOn(std::uint64_t position) const
    {
        return position == source.size() || chunkAt(position) || isIndexAt(position);
    }

    /** Returns where to go on. */
    std::uint64_t step(std::uint64_t position)
    {
        const auto chunk = chunkAt(position);
        if (chunk && (isInList || isChain(position))) {
            endHole(position);
            isInList = true;
            if (content.chunks.size() < mostPackets(source.size()))
                content.chunks.push_back(*chunk);
            lastEnd = chunk->end();
            return lastEnd;
        }
        const auto other = isInList || isIndexAt(position) ? otherPartAt(position) : std::nullopt;
        if (!other) {
            // Some recorders leave the byte out that makes a chunk's size even.
            const bool isOdd = isInList && !content.chunks.empty() && position == lastEnd &&
                               (content.chunks.back().size & 1U) != 0;
            isInList = isOdd && isChain(position - 1);
            return isInList ? position - 1 : position + 1;
        }
        endHole(position);
        isInList = true;
        takeIndex(position, *other);
        lastEnd = *other;
        return *other;
    }

    /** An index with nothing behind it: all that follows on the last chunks. */
    bool isIndexAt(std::uint64_t position) const
    {
        const ByteView head = source.view(position, AviChunk::headerSize);
        return head.size() == AviChunk::headerSize && textOf(head.first(4)) == "idx1" &&
               position + AviChunk::headerSize + le32(&head[4]) == source.size();
    }

    void endHole(std::uint64_t position)
    {
        if (!isInList && !content.chunks.empty() && position > lastEnd)
            content.holes.push_back(
                {.from = lastEnd, .to = position, .next = content.chunks.size()});
    }

    void takeIndex(std::uint64_t position, std::uint64_t behind)
    {
        // Of ten hours it is 43 MB; what says that it is much longer is damage.
        constexpr std::uint64_t longestIndex = 64U << 20U;
        const Bytes name = source.copy(position, 4);
        if (name.size() < 4 || behind > source.size() || behind - position > longestIndex)
            return;
        if (textOf(name) == "idx1")
            takeOldIndex(position + AviChunk::headerSize, behind);
        else if (textOf(name).starts_with("ix"))
            takeNewIndex(position + AviChunk::headerSize, behind);
    }

    /** One entry of 16 bytes for each chunk; what its places count from, the chunks tell. */
    void takeOldIndex(std::uint64_t from, std::uint64_t to)
    {
        constexpr std::size_t entrySize = 16;
        // There is to be one; each is compared with the chunks.
        constexpr int mostOldIndexes = 8;
        if (++oldIndexes > mostOldIndexes)
            return;
        const Bytes table = source.copy(from, to - from);
        std::vector<AviChunk> entries;
        for (std::size_t i = 0; i + entrySize <= table.size(); i += entrySize) {
            AviChunk chunk = chunkNamed(ByteView(table).subspan(i, 4));
            chunk.offset = le32(&table[i + 8]);
            chunk.size = le32(&table[i + 12]);
            if (chunk.kind != 0)
                entries.push_back(chunk);
        }
        const auto base = baseOf(entries);
        if (!base)
            return;
        for (AviChunk &entry : entries) {
            entry.offset += *base;
            addEntry(entry);
        }
    }

    /** Where the places of an index count from: as most of the first chunks have it. */
    std::optional<std::uint64_t> baseOf(const std::vector<AviChunk> &entries) const
    {
        constexpr std::size_t mostCompared = 64;
        constexpr std::ptrdiff_t mostChunks = 4096;
        std::map<std::uint64_t, int> votes;
        if (content.chunks.empty())
            return std::nullopt;
        const std::uint64_t furthest = content.chunks.front().offset + 4;
        std::size_t compared = 0;
        for (const AviChunk &entry : entries) {
            // The first chunks' places are small numbers, whatever they count from.
            if (++compared > mostCompared)
                break;
            auto chunk = std::lower_bound(
                content.chunks.begin(), content.chunks.end(), entry.offset,
                [](const AviChunk &one, std::uint64_t place) { return one.offset < place; });
            const auto last = chunk + std::min(mostChunks, content.chunks.end() - chunk);
            for (; chunk != last && chunk->offset < entry.offset + furthest; ++chunk) {
                if (chunk->size == entry.size && chunk->stream == entry.stream)
                    ++votes[chunk->offset - entry.offset];
            }
        }
        const auto best = std::max_element(votes.begin(), votes.end(),
                                           [](auto &a, auto &b) { return a.second < b.second; });
        return best != votes.end() ? std::optional(best->first) : std::nullopt;
    }

    /** Of one stream: places of the chunks' bodies from one base. */
    void takeNewIndex(std::uint64_t from, std::uint64_t to)
    {
        constexpr std::size_t header = 24;
        constexpr std::size_t entrySize = 8;
        const Bytes table = source.copy(from, to - from);
        if (table.size() < header || table[3] != 1)
            return;
        const std::uint64_t base =
            static_cast<std::uint64_t>(le32(&table[16])) << 32U | le32(&table[12]);
        for (std::size_t i = header; i + entrySize <= table.size(); i += entrySize) {
            AviChunk chunk = chunkNamed(ByteView(table).subspan(8, 4));
            chunk.offset = base + le32(&table[i]) - AviChunk::headerSize;
            chunk.size = le32(&table[i + 4]) & 0x7fffffffU;
            if (chunk.kind != 0 && chunk.size > 0)
                addEntry(chunk);
        }
    }

    void addEntry(const AviChunk &entry)
    {
        if (content.index.size() < mostPackets(source.size()))
            content.index.push_back(entry);
    }

    void closeIndexes()
    {
        auto &index = content.index;
        std::sort(index.begin(), index.end(),
                  [](const AviChunk &a, const AviChunk &b) { return a.offset < b.offset; });
        index.erase(
            std::unique(index.begin(), index.end(),
                        [](const AviChunk &a, const AviChunk &b) { return a.offset == b.offset; }),
            index.end());
    }

    /** The first chunks may be lost with the header: only an index tells of them. */
    void addFirstHole()
    {
        if (content.index.empty() || content.chunks.empty())
            return;
        const std::uint64_t from = content.index.front().offset;
        const std::uint64_t to = content.chunks.front().offset;
        if (from < to)
            content.holes.insert(content.holes.begin(), {.from = from, .to = to, .next = 0});
    }

    const SourceFile &source;
    std::uint64_t end;
    AviContent content;
    bool isInList = false;
    /** Behind the last part that was understood. */
    std::uint64_t lastEnd = 0;
    /** Places at which something that looked like a chunk was followed to the next. */
    int followed = 0;
    int oldIndexes = 0;
};

} // namespace

AviContent findAviChunks(const SourceFile &source, std::uint64_t reach)
{
    return Walk(source, reach).run();
}
