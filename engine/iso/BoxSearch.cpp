#include "engine/iso/BoxSearch.h"

#include <algorithm>
#include <array>

namespace {

// Small enough to stay in the processor's cache until it has been searched.
constexpr std::size_t searchWindow = 256U << 10U;
// What a candidate's test looks at may reach over the end of a window.
constexpr std::size_t searchOverlap = 16;

// An index behind the media is this near to the file's end, up to recordings of very many hours.
constexpr std::uint64_t indexReach = 256ULL << 20U;

constexpr std::uint64_t fragmentNumberSize = 16;

// Something in the media may look like an index. Each is read.
constexpr std::size_t mostIndexes = 16;
// One for each picture of ten hours, and of as much sound.
constexpr std::size_t mostFragments = 1U << 22U;
// Each is a place that all packets may have to be moved to.
constexpr std::size_t mostMedia = 64;

constexpr std::array knownTopTypes = {
    fourCc("ftyp"), fourCc("styp"), fourCc("moov"), fourCc("moof"), fourCc("mdat"), fourCc("free"),
    fourCc("skip"), fourCc("wide"), fourCc("uuid"), fourCc("sidx"), fourCc("mfra"), fourCc("meta"),
    fourCc("pnot"), fourCc("udta"), fourCc("ssix"), fourCc("emsg"), fourCc("prft"), fourCc("PICT")};

constexpr std::array indexChildren = {fourCc("mvhd"), fourCc("trak"), fourCc("udta"),
                                      fourCc("meta"), fourCc("iods"), fourCc("mvex"),
                                      fourCc("uuid"), fourCc("free")};

template <std::size_t Size>
bool contains(const std::array<FourCc, Size> &types, FourCc type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

bool startsWith(const SourceFile &source, std::uint64_t offset, std::uint64_t limit, FourCc type,
                std::uint64_t leastSize, std::uint64_t mostSize)
{
    const auto box = readBox(source, offset, limit);
    return box && box->type == type && !box->isCut && box->end - box->offset >= leastSize &&
           box->end - box->offset <= mostSize;
}

bool isMovieHeader(const SourceFile &source, std::uint64_t offset)
{
    return startsWith(source, offset, source.size(), fourCc("mvhd"), 108, 120);
}

bool isTrack(const SourceFile &source, std::uint64_t offset)
{
    const auto box = readBox(source, offset, source.size());
    return box && box->type == fourCc("trak") &&
           startsWith(source, box->body(), box->end, fourCc("tkhd"), 92, 104);
}

bool isTrackFragment(const SourceFile &source, std::uint64_t offset)
{
    const auto box = readBox(source, offset, source.size());
    return box && box->type == fourCc("traf") &&
           startsWith(source, box->body(), box->end, fourCc("tfhd"), 16, 64);
}

/** The boxes of these types that follow one another from `offset` on, as one without a header. */
template <typename IsMember>
Box chainFrom(const SourceFile &source, FourCc type, std::uint64_t offset, IsMember isMember)
{
    Box chain = {.type = type, .offset = offset, .headerSize = 0, .end = offset};
    for (auto next = readBox(source, offset, source.size()); next && isMember(next->type);
         next = readBox(source, chain.end, source.size())) {
        chain.end = next->end;
        chain.isCut = next->isCut;
    }
    return chain;
}

Box orphanedIndex(const SourceFile &source, std::uint64_t offset)
{
    return chainFrom(source, fourCc("moov"), offset,
                     [](FourCc type) { return contains(indexChildren, type); });
}

/** What stands `lost` bytes behind where a fragment header began. */
std::optional<Box> orphanedFragment(const SourceFile &source, std::uint64_t offset,
                                    std::uint64_t lost)
{
    if (offset < lost)
        return std::nullopt;
    Box box = chainFrom(source, fourCc("moof"), offset, [](FourCc type) {
        return type == fourCc("mfhd") || type == fourCc("traf");
    });
    box.offset -= lost;
    box.headerSize = lost;
    return box;
}

/** The structure of which `type`, standing at `typeOffset`, is a true part, if it is one. */
std::optional<Box> structureAt(const SourceFile &source, FourCc type, std::uint64_t typeOffset)
{
    constexpr std::uint64_t sizeField = 4;
    constexpr std::uint64_t header = 8;
    if (typeOffset < sizeField)
        return std::nullopt;
    const std::uint64_t offset = typeOffset - sizeField;
    const auto box = readBox(source, offset, source.size());
    if (!box)
        return std::nullopt;
    switch (type) {
    case fourCc("moov"):
        return isMovieHeader(source, box->body()) || isTrack(source, box->body()) ? box
                                                                                  : std::nullopt;
    case fourCc("moof"):
        return startsWith(source, box->body(), box->end, fourCc("mfhd"), fragmentNumberSize,
                          fragmentNumberSize)
                   ? box
                   : std::nullopt;
    case fourCc("mvhd"):
        return isMovieHeader(source, offset) && !box->isCut && isTrack(source, box->end)
                   ? std::optional(orphanedIndex(source, offset))
                   : std::nullopt;
    case fourCc("trak"):
        return isTrack(source, offset) ? std::optional(orphanedIndex(source, offset))
                                       : std::nullopt;
    case fourCc("mfhd"):
        return box->end - offset == fragmentNumberSize && isTrackFragment(source, box->end)
                   ? orphanedFragment(source, offset, header)
                   : std::nullopt;
    case fourCc("traf"):
        return isTrackFragment(source, offset)
                   ? orphanedFragment(source, offset, header + fragmentNumberSize)
                   : std::nullopt;
    default:
        return std::nullopt;
    }
}

constexpr std::array searchedTypes = {fourCc("moov"), fourCc("moof"), fourCc("mvhd"),
                                      fourCc("trak"), fourCc("mfhd"), fourCc("traf")};

/** The bits of a type in which those that are searched for agree. */
constexpr FourCc commonBits = [] {
    FourCc differing = 0;
    for (const FourCc type : searchedTypes)
        differing |= type ^ searchedTypes.front();
    return ~differing;
}();

/** The letters of a type, the first first. */
constexpr std::array<std::uint8_t, 4> lettersOf(FourCc type)
{
    constexpr FourCc letter = 0xff;
    return {static_cast<std::uint8_t>(type >> 24U), static_cast<std::uint8_t>(type >> 16U & letter),
            static_cast<std::uint8_t>(type >> 8U & letter),
            static_cast<std::uint8_t>(type & letter)};
}

/** Bytes that are ruled out together; a window is a multiple of them. */
constexpr std::size_t blockSize = 64;

/** A searched type may begin in a block. It has no branches, so that many places are done at once.
 */
bool mayHoldType(const std::uint8_t *block)
{
    constexpr auto usual = lettersOf(searchedTypes.front());
    constexpr auto common = lettersOf(commonBits);
    std::uint8_t nearest = 0xff;
    for (std::size_t i = 0; i < blockSize; ++i) {
        const auto differing = static_cast<std::uint8_t>(
            ((block[i] ^ usual[0]) & common[0]) | ((block[i + 1] ^ usual[1]) & common[1]) |
            ((block[i + 2] ^ usual[2]) & common[2]) | ((block[i + 3] ^ usual[3]) & common[3]));
        nearest = std::min(nearest, differing);
    }
    return nearest == 0;
}

/** The first structure in a range that is told by one of these types. */
template <std::size_t Size>
std::optional<Box> search(const SourceFile &source, std::uint64_t from, std::uint64_t to,
                          const std::array<FourCc, Size> &types)
{
    constexpr std::size_t typeSize = 4;
    Bytes window(searchWindow + searchOverlap);
    for (std::uint64_t start = from; start < to; start += searchWindow) {
        const std::size_t size = source.read(start, window.data(), window.size());
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(
            {searchWindow, to - start, size - std::min(size, typeSize - 1)}));
        for (std::size_t block = 0; block < count; block += blockSize) {
            if (!mayHoldType(&window[block]))
                continue;
            for (std::size_t i = block; i < std::min(block + blockSize, count); ++i) {
                const FourCc type = be32(&window[i]);
                // Others would be followed to their end at each of their places.
                if (!contains(types, type))
                    continue;
                if (auto found = structureAt(source, type, start + i))
                    return found;
            }
        }
    }
    return std::nullopt;
}

/** A file walked from its first byte to its last. */
class Walk
{
public:
    Walk(const SourceFile &file, std::uint64_t mostToSearch)
        : source(file), searchReach(mostToSearch), leftToSearch(mostToSearch)
    {
    }

    IsoStructure run()
    {
        std::uint64_t position = 0;
        while (position < source.size()) {
            const auto box = readBox(source, position, source.size());
            if (box && isTrustworthy(*box)) {
                take(*box);
                position = box->end;
                // A fragmented recording goes on behind its media in any case.
                if (box->type != fourCc("mdat") || isBoundary(*box))
                    continue;
                position = box->body();
            }
            structure.isSound = false;
            if (isComplete())
                break;
            const auto next = resume(position);
            if (!next)
                break;
            take(*next);
            position = next->end;
        }
        return std::move(structure);
    }

private:
    bool isTrustworthy(const Box &box) const
    {
        if (box.type == fourCc("moov") || box.type == fourCc("moof"))
            return structureAt(source, box.type, box.offset + 4).has_value();
        return contains(knownTopTypes, box.type) || (isPlausibleType(box.type) && isBoundary(box));
    }

    /** The box ends where the file does or another begins. */
    bool isBoundary(const Box &box) const
    {
        if (box.isCut)
            return false;
        const auto next = readBox(source, box.end, source.size());
        return box.end == source.size() ? saysItsSize(box)
                                        : next && contains(knownTopTypes, next->type);
    }

    /** A size of zero means "to the end", and is what a recorder leaves that never came to it. */
    bool saysItsSize(const Box &box) const { return numberAt(source, box.offset) != 0; }

    void take(const Box &box)
    {
        constexpr std::uint64_t longestType = 4096;
        if (box.type == fourCc("ftyp") && !structure.fileType && !box.isCut &&
            box.end - box.offset <= longestType)
            structure.fileType = box;
        else if (box.type == fourCc("moov"))
            takeIndex(box);
        else if (box.type == fourCc("moof") && structure.fragments.size() < mostFragments)
            structure.fragments.push_back(box);
        else if (box.type == fourCc("mdat") && structure.media.size() < mostMedia)
            structure.media.push_back(box);
    }

    /** The search from the end has been at some of what the walk comes to. */
    void takeIndex(const Box &box)
    {
        const bool isKnown =
            std::any_of(structure.indexes.begin(), structure.indexes.end(),
                        [&box](const Box &known) { return known.offset == box.offset; });
        if (isKnown || structure.indexes.size() >= mostIndexes)
            return;
        structure.indexes.push_back(box);
        hasWholeIndex = hasWholeIndex || !findBox(childrenOf(source, box), fourCc("mvex"));
    }

    /** Nothing that is still to come could be needed. */
    bool isComplete() const { return structure.fragments.empty() && hasWholeIndex; }

    std::optional<Box> resume(std::uint64_t position)
    {
        if (structure.indexes.empty() && structure.fragments.empty()) {
            if (const auto index = indexFromTheEnd(position))
                takeIndex(*index);
            if (isComplete())
                return std::nullopt;
        }
        const std::uint64_t to = position + std::min(leftToSearch, source.size() - position);
        const auto found = search(source, position, to, searchedTypes);
        leftToSearch -= (found ? std::min(std::max(found->offset, position), to) : to) - position;
        return found;
    }

    std::optional<Box> indexFromTheEnd(std::uint64_t from) const
    {
        constexpr std::uint64_t step = 8U << 20U;
        const std::uint64_t reach = std::min({indexReach, searchReach, source.size() - from});
        for (std::uint64_t back = step; back < reach + step; back += step) {
            const std::uint64_t start = source.size() - std::min(back, reach);
            const auto found = search(source, start, std::min(start + step, source.size()),
                                      std::array{fourCc("moov")});
            if (found)
                return found;
        }
        return std::nullopt;
    }

    const SourceFile &source;
    std::uint64_t searchReach;
    /** Of the bytes from where boxes no longer follow one another. */
    std::uint64_t leftToSearch;
    IsoStructure structure;
    /** One of the indexes does not announce fragments. */
    bool hasWholeIndex = false;
};

} // namespace

IsoStructure findStructure(const SourceFile &source, std::uint64_t searchReach)
{
    return Walk(source, searchReach).run();
}

bool looksLikeIso(const SourceFile &source)
{
    const auto box = readBox(source, 0, source.size());
    return box && contains(knownTopTypes, box->type);
}

std::optional<Box> findTrack(const SourceFile &source, std::uint64_t from, std::uint64_t to)
{
    constexpr std::uint64_t sizeField = 4;
    const auto found =
        search(source, from + sizeField, to, std::array{fourCc("mvhd"), fourCc("trak")});
    return found ? readBox(source, found->offset, to) : std::nullopt;
}
