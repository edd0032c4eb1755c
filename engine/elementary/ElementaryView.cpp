#include "engine/elementary/ElementaryView.h"

#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace {

constexpr std::uint64_t longestSearch = 64ULL << 20U;
constexpr std::uint64_t longestStream = 8ULL << 20U;
constexpr std::size_t searchWindow = 1U << 20U;
// What a candidate's first test looks at may reach over the end of a window.
constexpr std::size_t searchOverlap = 64;
constexpr std::size_t mostUnits = 256;
// What looks like a beginning is read on for some MiB: only so often.
constexpr int mostAttempts = 32;

constexpr std::uint32_t startCode = 1;
constexpr unsigned lengthSize = 4;
constexpr std::uint32_t longestParameters = 1024;

/** A NAL unit in the file, without the length or code before it. */
struct Unit
{
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};
using Units = std::vector<Unit>;

namespace Avc {

constexpr unsigned keyPicture = 5;
constexpr unsigned sequenceSet = 7;
constexpr unsigned pictureSet = 8;

unsigned typeOf(std::uint8_t header)
{
    return header & 0x1fU;
}

/** May be the first four bytes of a sequence parameter set. */
bool beginsSequenceSet(const std::uint8_t *bytes)
{
    constexpr std::uint8_t profiles[] = {66, 77, 88, 100, 110, 118, 122, 128, 144, 244, 44};
    constexpr std::uint8_t lowestLevel = 9;
    constexpr std::uint8_t highestLevel = 62;
    return (bytes[0] & 0x80U) == 0 && (bytes[0] & 0x60U) != 0 && typeOf(bytes[0]) == sequenceSet &&
           std::find(std::begin(profiles), std::end(profiles), bytes[1]) != std::end(profiles) &&
           bytes[3] >= lowestLevel && bytes[3] <= highestLevel;
}

/** The first slice of a key picture: it begins at the first block, and is of one kind. */
bool beginsKeyPicture(const std::uint8_t *bytes)
{
    constexpr std::uint8_t allIntra = 0x88;
    constexpr std::uint8_t intra = 0xb0;
    return (bytes[0] & 0x9fU) == keyPicture && (bytes[0] & 0x60U) != 0 &&
           (bytes[1] == allIntra || (bytes[1] & 0xf0U) == intra);
}

} // namespace Avc

namespace Hevc {

constexpr unsigned firstKeyPicture = 16;
constexpr unsigned lastKeyPicture = 21;
constexpr unsigned videoSet = 32;
constexpr unsigned sequenceSet = 33;
constexpr unsigned pictureSet = 34;

unsigned typeOf(std::uint8_t header)
{
    return header >> 1U & 0x3fU;
}

bool beginsVideoSet(const std::uint8_t *bytes)
{
    return bytes[0] == videoSet << 1U && bytes[1] == 1 && bytes[2] == 0x0c;
}

bool beginsKeyPicture(const std::uint8_t *bytes)
{
    const unsigned type = typeOf(bytes[0]);
    return (bytes[0] & 0x81U) == 0 && bytes[1] == 1 && type >= firstKeyPicture &&
           type <= lastKeyPicture && (bytes[2] & 0x80U) != 0;
}

} // namespace Hevc

/** Where the search has come to. */
struct Found
{
    Units units;
    bool isHevc = false;
};

class Search
{
public:
    explicit Search(PiecedFile &target) : file(target), source(target.damaged()) {}

    const char *run()
    {
        // Pictures alone would be found in many files beside their video: thumbnails.
        for (const Pass pass : {Pass::Sets, Pass::KeyPictures, Pass::Jpeg}) {
            if (pass == Pass::KeyPictures && sets.units.empty())
                continue;
            attempts = 0;
            if (const char *reader = walk(pass))
                return reader;
        }
        return nullptr;
    }

private:
    enum class Pass { Sets, KeyPictures, Jpeg };

    const char *walk(Pass pass)
    {
        const std::uint64_t end = std::min(source.size(), longestSearch);
        Bytes window(searchWindow + searchOverlap);
        for (std::uint64_t start = 0; start < end; start += searchWindow) {
            std::fill(window.begin(), window.end(), std::uint8_t{0});
            source.read(start, window.data(), window.size());
            for (std::size_t i = 0; i < searchWindow && start + i < end; ++i) {
                const char *reader = pass == Pass::Sets ? setsAt(&window[i], start + i)
                                     : pass == Pass::KeyPictures
                                         ? keyPictureAt(&window[i], start + i)
                                         : jpegAt(&window[i], start + i);
                if (reader != nullptr || attempts >= mostAttempts)
                    return reader;
            }
        }
        return nullptr;
    }

    static const char *nameOf(bool isHevc) { return isHevc ? "hevc" : "h264"; }

    /** Parameter sets with pictures behind them; those without are kept. */
    const char *setsAt(const std::uint8_t *bytes, std::uint64_t place)
    {
        if (bytes[0] == 0 && bytes[1] == 0) {
            const std::uint8_t *unit = bytes + lengthSize;
            if (be24(bytes) == startCode &&
                (Avc::beginsSequenceSet(unit - 1) || Hevc::beginsVideoSet(unit - 1)))
                return addCodedStream(place, Hevc::beginsVideoSet(unit - 1));
            const std::uint32_t length = be32(bytes);
            const bool isHevc = Hevc::beginsVideoSet(unit);
            if (length >= lengthSize && length < longestParameters &&
                (isHevc || Avc::beginsSequenceSet(unit)))
                return addChain(place, isHevc, true);
        } else if (bytes[0] == 1 && sets.units.empty()) {
            if (Units units = avcRecord(bytes, place); !units.empty())
                sets = {.units = std::move(units), .isHevc = false};
            else if (units = hevcRecord(bytes, place); !units.empty())
                sets = {.units = std::move(units), .isHevc = true};
        }
        return nullptr;
    }

    const char *keyPictureAt(const std::uint8_t *bytes, std::uint64_t place)
    {
        constexpr std::uint32_t leastPicture = 64;
        if (bytes[0] != 0 || be32(bytes) < leastPicture)
            return nullptr;
        const std::uint8_t *unit = bytes + lengthSize;
        const bool isKey = sets.isHevc ? Hevc::beginsKeyPicture(unit) : Avc::beginsKeyPicture(unit);
        return isKey ? addChain(place, sets.isHevc, false) : nullptr;
    }

    /** The units from here on that say how long they are. */
    Units chainFrom(std::uint64_t place, bool isHevc) const
    {
        Units units;
        std::uint64_t total = 0;
        while (units.size() < mostUnits && total < longestStream) {
            const ByteView head = source.view(place, lengthSize + 1);
            if (head.size() <= lengthSize)
                break;
            const std::uint64_t size = be32(head.data());
            if (size < 2 || size > longestStream || place + lengthSize + size > source.size() ||
                !PacketContent::isNalHeader(head[lengthSize], isHevc))
                break;
            units.push_back({.offset = place + lengthSize, .size = size});
            place += lengthSize + size;
            total += size;
        }
        return units;
    }

    bool hasType(const Units &units, bool isHevc, unsigned from, unsigned to) const
    {
        return std::any_of(units.begin(), units.end(), [&](const Unit &unit) {
            const ByteView header = source.view(unit.offset, 1);
            if (header.empty())
                return false;
            const unsigned type = isHevc ? Hevc::typeOf(header[0]) : Avc::typeOf(header[0]);
            return type >= from && type <= to;
        });
    }

    bool hasSets(const Units &units, bool isHevc) const
    {
        return isHevc ? hasType(units, true, Hevc::sequenceSet, Hevc::sequenceSet) &&
                            hasType(units, true, Hevc::pictureSet, Hevc::pictureSet)
                      : hasType(units, false, Avc::sequenceSet, Avc::sequenceSet) &&
                            hasType(units, false, Avc::pictureSet, Avc::pictureSet);
    }

    bool hasKeyPicture(const Units &units, bool isHevc) const
    {
        return isHevc ? hasType(units, true, Hevc::firstKeyPicture, Hevc::lastKeyPicture)
                      : hasType(units, false, Avc::keyPicture, Avc::keyPicture);
    }

    const char *addChain(std::uint64_t place, bool isHevc, bool needsSets)
    {
        ++attempts;
        const Units units = chainFrom(place, isHevc);
        if (!hasKeyPicture(units, isHevc) || (needsSets && !hasSets(units, isHevc)))
            return nullptr;
        if (!needsSets)
            add(sets.units);
        add(units);
        return nameOf(isHevc);
    }

    void add(const Units &units)
    {
        for (const Unit &unit : units) {
            file.add({0, 0, 0, startCode});
            file.addSpan(unit.offset, unit.size);
        }
    }

    /** Units with codes before them are the stream themselves. */
    const char *addCodedStream(std::uint64_t place, bool isHevc)
    {
        ++attempts;
        const std::uint64_t size = std::min(longestStream, source.size() - place);
        const Bytes bytes = source.copy(place, size);
        Units units;
        for (std::size_t i = 0; i + lengthSize < bytes.size() && units.size() < mostUnits; ++i) {
            if (bytes[i] == 0 && be24(&bytes[i]) == startCode)
                units.push_back({.offset = place + i + 3, .size = 1});
        }
        if (!hasSets(units, isHevc) || !hasKeyPicture(units, isHevc))
            return nullptr;
        file.addSpan(place, size);
        return nameOf(isHevc);
    }

    /** Parameter sets in a row, each behind a length of two bytes. */
    bool takeSets(std::uint64_t &place, unsigned count, Units &units) const
    {
        constexpr std::uint64_t shortLength = 2;
        for (; count > 0; --count) {
            const ByteView head = source.view(place, shortLength);
            if (head.size() < shortLength)
                return false;
            const std::uint64_t size = be16(head.data());
            if (size < lengthSize || size > longestParameters ||
                place + shortLength + size > source.size())
                return false;
            units.push_back({.offset = place + shortLength, .size = size});
            place += shortLength + size;
        }
        return true;
    }

    /** What "avcC" holds, as containers of every kind store it. */
    Units avcRecord(const std::uint8_t *bytes, std::uint64_t place) const
    {
        constexpr std::size_t setsPlace = 6;
        const std::uint8_t *set = bytes + setsPlace + 2;
        const unsigned count = bytes[setsPlace - 1] & 0x1fU;
        if ((bytes[4] & 0xfcU) != 0xfc || (bytes[5] & 0xe0U) != 0xe0 || count == 0 ||
            !Avc::beginsSequenceSet(set) || set[1] != bytes[1] || set[3] != bytes[3])
            return {};
        Units units;
        std::uint64_t next = place + setsPlace;
        if (!takeSets(next, count, units))
            return {};
        const ByteView pictureSets = source.view(next++, 1);
        if (pictureSets.empty() || !takeSets(next, pictureSets[0], units) || !hasSets(units, false))
            return {};
        return units;
    }

    /** What "hvcC" holds. */
    Units hevcRecord(const std::uint8_t *bytes, std::uint64_t place) const
    {
        constexpr std::size_t arraysPlace = 22;
        constexpr unsigned mostArrays = 8;
        constexpr std::uint64_t arrayHeader = 3;
        const unsigned count = bytes[arraysPlace];
        if (count == 0 || count > mostArrays ||
            (bytes[arraysPlace + 1] & 0x3fU) != Hevc::videoSet ||
            !Hevc::beginsVideoSet(bytes + arraysPlace + arrayHeader + 3))
            return {};
        Units units;
        std::uint64_t next = place + arraysPlace + 1;
        for (unsigned i = 0; i < count; ++i) {
            const ByteView head = source.view(next, arrayHeader);
            if (head.size() < arrayHeader)
                return {};
            const unsigned inArray = be16(&head[1]);
            next += arrayHeader;
            if (!takeSets(next, inArray, units))
                return {};
        }
        return hasSets(units, true) ? units : Units();
    }

    /** The size that a JPEG picture states, and where its coded data begin. */
    struct JpegHeader
    {
        std::uint32_t sides = 0;
        std::uint64_t data = 0;
    };

    std::optional<JpegHeader> jpegHeader(std::uint64_t place) const
    {
        constexpr int mostSegments = 64;
        constexpr std::size_t segmentHeader = 4;
        constexpr std::size_t sidesPlace = 5;
        constexpr std::size_t sidesSize = 4;
        JpegHeader header;
        std::uint64_t position = place + 2;
        for (int i = 0; i < mostSegments; ++i) {
            const ByteView bytes = source.view(position, sidesPlace + sidesSize);
            if (bytes.size() < sidesPlace + sidesSize || bytes[0] != 0xff)
                return std::nullopt;
            const std::uint8_t kind = bytes[1];
            const std::uint64_t size = be16(&bytes[2]);
            if (kind >= 0xc0 && kind <= 0xc2)
                header.sides = be32(&bytes[sidesPlace]);
            position += 2 + size;
            if (kind == 0xda && header.sides != 0) {
                header.data = position;
                return header;
            }
            if (kind < 0xc0 || size < segmentHeader - 2)
                return std::nullopt;
        }
        return std::nullopt;
    }

    /** A picture of a recording is followed by another of the same size. */
    const char *jpegAt(const std::uint8_t *bytes, std::uint64_t place)
    {
        if (be24(bytes) != 0xffd8ff || place < jpegSearchedTo)
            return nullptr;
        const auto header = jpegHeader(place);
        if (!header)
            return nullptr;
        ++attempts;
        const Bytes rest = source.copy(header->data, longestStream);
        for (std::size_t i = 0; i + 2 < rest.size(); ++i) {
            if (rest[i] != 0xff || be24(&rest[i]) != 0xffd8ff)
                continue;
            const auto next = jpegHeader(header->data + i);
            if (!next || next->sides != header->sides)
                continue;
            // Up to its end mark: what follows it may be anything.
            file.addSpan(place, header->data + i - place);
            return "mjpeg";
        }
        // Others in this stretch would be read again for nothing.
        jpegSearchedTo = header->data + rest.size();
        return nullptr;
    }

    PiecedFile &file;
    const SourceFile &source;
    /** Parameter sets of an index or a header, apart from the pictures. */
    Found sets;
    std::uint64_t jpegSearchedTo = 0;
    /** Of one pass. */
    int attempts = 0;
};

} // namespace

const char *addElementaryVideo(PiecedFile &file)
{
    return Search(file).run();
}
