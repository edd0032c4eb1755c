#include "engine/advanced/AacLength.h"

#include "engine/advanced/AacTables.h"
#include "engine/advanced/BitReader.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>

namespace {

using Kind = AacReading::Kind;

// Kinds of elements.
constexpr std::uint32_t singleChannel = 0;
constexpr std::uint32_t channelPair = 1;
constexpr std::uint32_t lowChannel = 3;
constexpr std::uint32_t dataElement = 4;
constexpr std::uint32_t fillElement = 6;
constexpr std::uint32_t endElement = 7;

// Numbers of books that stand for no codes. Behind that of noise there are the two of intensity.
constexpr std::uint32_t zeroBook = 0;
constexpr std::uint32_t reservedBook = 12;
constexpr std::uint32_t noiseBook = 13;

constexpr unsigned mostGroups = 8;
// Eight groups of 15 bands each; long windows have 51 bands.
constexpr std::size_t mostSections = 120;

/** What is known of a code when it is found. */
struct Code
{
    /** Bits of it, with the signs behind it. */
    std::uint8_t length = 0;
    /** Escapes behind that; of scale factors, the step. */
    std::uint8_t meaning = 0;
};

constexpr Code withTail(unsigned length, char tail)
{
    const unsigned escapes = tail < 'a' ? 0 : tail == 'c' ? 2 : 1;
    const unsigned signs = tail == 'a' ? 1 : tail > 'a' ? 2 : static_cast<unsigned>(tail - '0');
    return {.length = static_cast<std::uint8_t>(length + signs),
            .meaning = static_cast<std::uint8_t>(escapes)};
}

/** A book by which codes are found quickly: short ones in a table, the others by their length. */
class CodeFinder
{
public:
    constexpr explicit CodeFinder(const AacTables::Book &book)
    {
        std::uint32_t code = 0;
        std::size_t number = 0;
        for (unsigned length = 1; length <= longest; ++length) {
            const unsigned count = length < book.counts.size() ? book.counts[length] : 0U;
            code <<= 1U;
            firsts[length] = number;
            begins[length] = code << (longest - length);
            for (unsigned i = 0; i < count; ++i, ++code, ++number) {
                codes[number] =
                    book.tails.empty()
                        ? Code{.length = static_cast<std::uint8_t>(length),
                               .meaning = book.values == 1 ? AacTables::scaleSteps[number]
                                                           : std::uint8_t{0}}
                        : withTail(length, book.tails[number]);
                if (length <= tableBits)
                    std::fill_n(&table[std::size_t{code} << (tableBits - length)],
                                std::size_t{1} << (tableBits - length), codes[number]);
            }
            ends[length] = code << (longest - length);
        }
    }

    /** The code that the highest bits begin with. */
    Code find(std::uint64_t bits) const
    {
        const Code code = table[bits >> (64U - tableBits)];
        if (code.length > 0)
            return code;
        const auto next = static_cast<std::uint32_t>(bits >> (64U - longest));
        unsigned length = tableBits + 1;
        while (next >= ends[length])
            ++length;
        return codes[firsts[length] + ((next - begins[length]) >> (longest - length))];
    }

private:
    static constexpr unsigned tableBits = 10;
    static constexpr unsigned longest = 19;

    std::array<Code, 1U << tableBits> table = {};
    std::array<Code, 289> codes = {};
    std::array<std::size_t, longest + 1> firsts = {};
    /** By length, as numbers of the longest codes' bits: the first code, and the one behind the
     * last. */
    std::array<std::uint32_t, longest + 1> begins = {};
    std::array<std::uint32_t, longest + 1> ends = {};
};

constexpr CodeFinder scaleCodes(AacTables::scaleBook);

template <std::size_t... Is>
constexpr std::array<CodeFinder, sizeof...(Is)> makeFinders(std::index_sequence<Is...>)
{
    return {CodeFinder(AacTables::spectralBooks[Is])...};
}

constexpr auto spectralCodes =
    makeFinders(std::make_index_sequence<AacTables::spectralBooks.size()>());

/** Bits from the first byte's highest on; behind the last there are zeros. */
class BitCursor
{
public:
    /** As many as bitsAtOnce() returns, at least. */
    static constexpr unsigned certain = 57;

    explicit BitCursor(ByteView ofBytes) : bytes(ofBytes) {}

    /** The next bits, the first of them the highest. */
    std::uint64_t bitsAtOnce() const
    {
        const std::size_t place = position / 8;
        const auto shift = static_cast<unsigned>(position % 8);
        if (place + 8 <= bytes.size())
            return be64(&bytes[place]) << shift;
        std::uint64_t value = 0;
        for (std::size_t i = place; i < place + 8; ++i)
            value = value << 8U | (i < bytes.size() ? bytes[i] : 0U);
        return value << shift;
    }

    /** Up to 32 bits as a number. */
    std::uint32_t bits(unsigned count)
    {
        const std::uint64_t next = bitsAtOnce();
        position += count;
        return count > 0 ? static_cast<std::uint32_t>(next >> (64U - count)) : 0;
    }

    bool flag() { return bits(1) != 0; }
    void skip(std::size_t count) { position += count; }
    void align() { position = (position + 7) / 8 * 8; }
    bool isOver() const { return position > bytes.size() * 8; }
    std::size_t bytesRead() const { return (position + 7) / 8; }

private:
    ByteView bytes;
    std::size_t position = 0;
};

/** How a channel's spectrum is divided. */
struct Windows
{
    bool isShort = false;
    unsigned bands = 0;
    unsigned groups = 1;
    /** Windows of each group. */
    std::array<unsigned, mostGroups> lengths = {1};
};

/** Bands of a group whose values one book is for. */
struct Section
{
    std::uint32_t book = 0;
    unsigned group = 0;
    unsigned from = 0;
    unsigned to = 0;
};

} // namespace

/** One frame that is walked over. Steps return false when it is none; `unsure` tells if it might
 * be. */
class AacWalk
{
public:
    AacWalk(const AacLength &known, ByteView bytes) : format(known), cursor(bytes) {}

    AacReading run()
    {
        for (std::uint32_t kind = cursor.bits(3); kind != endElement; kind = cursor.bits(3)) {
            if (!element(kind) || cursor.isOver())
                return {.kind = isUnsure ? Kind::Unsure : Kind::None};
        }
        if (cursor.isOver() || (isKnown() && channelCount != format.channels.size()))
            return {};
        return {.kind = Kind::Frame, .size = static_cast<std::uint32_t>(cursor.bytesRead())};
    }

    /** The elements with channels that were walked over. */
    std::vector<std::uint32_t> channelsFound() const
    {
        return {channels.begin(), channels.begin() + static_cast<std::ptrdiff_t>(channelCount)};
    }

private:
    bool isKnown() const { return !format.channels.empty(); }

    bool unsure()
    {
        isUnsure = true;
        return false;
    }

    bool element(std::uint32_t kind)
    {
        if (kind == fillElement)
            return fill();
        const std::uint32_t number = cursor.bits(4);
        switch (kind) {
        case dataElement:
            return data();
        case singleChannel:
        case lowChannel:
            return isExpected(kind, number) && channel(std::nullopt);
        case channelPair:
            return isExpected(kind, number) && pair();
        default:
            return unsure();
        }
    }

    bool isExpected(std::uint32_t kind, std::uint32_t number)
    {
        const std::uint32_t element = kind << 4U | number;
        const std::size_t place = channelCount++;
        if (place >= channels.size() ||
            (isKnown() && (place >= format.channels.size() || format.channels[place] != element)))
            return false;
        channels[place] = element;
        return true;
    }

    bool data()
    {
        constexpr std::uint32_t more = 255;
        const bool isAligned = cursor.flag();
        std::uint32_t count = cursor.bits(8);
        if (count == more)
            count += cursor.bits(8);
        if (isAligned)
            cursor.align();
        cursor.skip(std::size_t{count} * 8);
        return true;
    }

    bool fill()
    {
        constexpr std::uint32_t more = 15;
        constexpr std::uint32_t dynamicRange = 11;
        std::uint32_t count = cursor.bits(4);
        if (count == more)
            count += cursor.bits(8) - 1;
        // This alone tells its own length, too.
        if (count > 0 && cursor.bitsAtOnce() >> 60U == dynamicRange)
            return unsure();
        cursor.skip(std::size_t{count} * 8);
        return true;
    }

    bool pair()
    {
        constexpr std::uint32_t masked = 1;
        constexpr std::uint32_t reserved = 3;
        std::optional<Windows> common;
        if (cursor.flag()) {
            common = windows();
            if (!common)
                return false;
            const std::uint32_t mask = cursor.bits(2);
            if (mask == reserved)
                return false;
            if (mask == masked)
                cursor.skip(std::size_t{common->groups} * common->bands);
        }
        return channel(common) && channel(common);
    }

    std::optional<Windows> windows()
    {
        constexpr std::uint32_t eightShort = 2;
        Windows found;
        if (cursor.flag()) {
            unsure();
            return std::nullopt;
        }
        found.isShort = cursor.bits(2) == eightShort;
        cursor.skip(1);
        if (!found.isShort) {
            found.bands = cursor.bits(6);
            const bool isPredicted = cursor.flag();
            return isPredicted || found.bands > format.longEnds.count ? std::nullopt
                                                                      : std::optional(found);
        }
        found.bands = cursor.bits(4);
        for (unsigned window = 1; window < mostGroups; ++window) {
            if (!cursor.flag())
                found.lengths[found.groups++] = 0;
            ++found.lengths[found.groups - 1];
        }
        return found.bands > format.shortEnds.count ? std::nullopt : std::optional(found);
    }

    bool channel(std::optional<Windows> shape)
    {
        const std::uint32_t gain = cursor.bits(8);
        if (!shape)
            shape = windows();
        if (!shape || !readSections(*shape) || !scaleFactors(gain))
            return false;
        if (cursor.flag() && (shape->isShort || !pulses()))
            return false;
        if (cursor.flag() && !noiseShaping(shape->isShort))
            return false;
        const bool hasGainControl = cursor.flag();
        return !hasGainControl && spectrum(*shape);
    }

    bool readSections(const Windows &shape)
    {
        const unsigned width = shape.isShort ? 3 : 5;
        const std::uint32_t goesOn = (1U << width) - 1;
        sectionCount = 0;
        for (unsigned group = 0; group < shape.groups; ++group) {
            for (unsigned band = 0; band < shape.bands;) {
                Section section = {
                    .book = cursor.bits(4), .group = group, .from = band, .to = band};
                std::uint32_t step = goesOn;
                while (step == goesOn && section.to <= shape.bands) {
                    step = cursor.bits(width);
                    section.to += step;
                }
                if (section.book == reservedBook || section.to > shape.bands || cursor.isOver())
                    return false;
                band = section.to;
                if (section.from < section.to)
                    sections[sectionCount++] = section;
            }
        }
        return true;
    }

    bool scaleFactors(std::uint32_t gain)
    {
        constexpr std::uint32_t middle = 60;
        constexpr std::uint32_t most = 255;
        constexpr unsigned firstNoiseBits = 9;
        bool isFirstNoise = true;
        for (std::size_t i = 0; i < sectionCount; ++i) {
            const Section &section = sections[i];
            if (section.book == zeroBook)
                continue;
            for (unsigned band = section.from; band < section.to; ++band) {
                if (section.book == noiseBook && isFirstNoise) {
                    isFirstNoise = false;
                    cursor.skip(firstNoiseBits);
                    continue;
                }
                const Code code = scaleCodes.find(cursor.bitsAtOnce());
                cursor.skip(code.length);
                if (section.book >= noiseBook)
                    continue;
                // Below zero it is a very large number.
                gain += code.meaning - middle;
                if (gain > most)
                    return false;
            }
        }
        return !cursor.isOver();
    }

    bool pulses()
    {
        const std::uint32_t count = cursor.bits(2) + 1;
        const std::uint32_t band = cursor.bits(6);
        const AacLength::Ends &ends = format.longEnds;
        if (band >= ends.count)
            return false;
        std::uint32_t place = band > 0 ? ends.of[band - 1] : 0;
        for (std::uint32_t i = 0; i < count; ++i) {
            place += cursor.bits(5);
            cursor.skip(4);
            if (place >= ends.of[ends.count - 1])
                return false;
        }
        return true;
    }

    bool noiseShaping(bool isShort)
    {
        constexpr std::uint32_t highestOrder = 12;
        const unsigned windowCount = isShort ? 8 : 1;
        for (unsigned window = 0; window < windowCount; ++window) {
            const std::uint32_t filters = cursor.bits(isShort ? 1 : 2);
            const std::uint32_t resolution = filters > 0 ? cursor.bits(1) : 0;
            for (std::uint32_t i = 0; i < filters; ++i) {
                cursor.skip(isShort ? 4 : 6);
                const std::uint32_t order = cursor.bits(isShort ? 3 : 5);
                if (order > highestOrder)
                    return false;
                if (order == 0)
                    continue;
                cursor.skip(1);
                const std::uint32_t width = 3 + resolution - cursor.bits(1);
                cursor.skip(std::size_t{width} * order);
            }
        }
        return true;
    }

    bool spectrum(const Windows &shape)
    {
        const AacLength::Ends &ends = shape.isShort ? format.shortEnds : format.longEnds;
        for (std::size_t i = 0; i < sectionCount; ++i) {
            const Section &section = sections[i];
            if (section.book == zeroBook || section.book > AacTables::spectralBooks.size())
                continue;
            const unsigned from = section.from > 0 ? ends.of[section.from - 1] : 0;
            const unsigned values = (ends.of[section.to - 1] - from) * shape.lengths[section.group];
            const AacTables::Book &book = AacTables::spectralBooks[section.book - 1];
            if (!codes(spectralCodes[section.book - 1], values / book.values) || cursor.isOver())
                return false;
        }
        return true;
    }

    bool codes(const CodeFinder &book, unsigned count)
    {
        constexpr unsigned longestCode = 20;
        while (count > 0) {
            std::uint64_t bits = cursor.bitsAtOnce();
            unsigned used = 0;
            unsigned escapes = 0;
            for (; count > 0 && escapes == 0 && used + longestCode <= BitCursor::certain; --count) {
                const Code code = book.find(bits);
                bits <<= code.length;
                used += code.length;
                escapes = code.meaning;
            }
            cursor.skip(used);
            for (; escapes > 0; --escapes) {
                if (!escape())
                    return false;
            }
        }
        return true;
    }

    /** So many ones, a zero, and four bits more than ones. */
    bool escape()
    {
        constexpr unsigned mostOnes = 8;
        const auto ones = static_cast<unsigned>(std::countl_one(cursor.bitsAtOnce()));
        cursor.skip(2 * ones + 5);
        return ones <= mostOnes;
    }

    const AacLength &format;
    BitCursor cursor;
    bool isUnsure = false;
    std::array<std::uint32_t, 16> channels = {};
    std::size_t channelCount = 0;
    std::array<Section, mostSections> sections = {};
    std::size_t sectionCount = 0;
};

template <typename Table>
AacLength::Ends AacLength::clipped(const Table &table, std::uint16_t samples)
{
    Ends ends;
    for (const std::uint16_t end : table) {
        if (end == 0 || (ends.count > 0 && ends.of[ends.count - 1] == samples))
            break;
        ends.of[ends.count++] = std::min(end, samples);
    }
    return ends;
}

AacLength::AacLength(ByteView configuration)
{
    constexpr std::uint32_t lowComplexity = 2;
    constexpr std::uint32_t replicatedBands = 5;
    constexpr std::uint32_t parametricStereo = 29;
    constexpr std::uint32_t statedRate = 15;
    BitReader reader(configuration);
    std::uint32_t coding = reader.bits(5);
    const std::uint32_t rate = reader.bits(4);
    reader.skip(4);
    if (coding == replicatedBands || coding == parametricStereo) {
        if (reader.bits(4) == statedRate)
            reader.skip(24);
        coding = reader.bits(5);
    }
    const bool isShorter = reader.flag();
    if (reader.isOver() || coding != lowComplexity || rate >= AacTables::bandsOfRate.size())
        return;
    const AacTables::Bands &bands = *AacTables::bandsOfRate[rate];
    longEnds = clipped(bands.longEnds, isShorter ? 960 : 1024);
    shortEnds = clipped(bands.shortEnds, isShorter ? 120 : 128);
}

bool AacLength::learn(ByteView frame)
{
    if (longEnds.count == 0)
        return false;
    AacWalk walk(*this, frame);
    const AacReading reading = walk.run();
    const bool isRight = reading.kind == Kind::Frame && reading.size == frame.size();
    if (isRight && channels.empty())
        channels = walk.channelsFound();
    return isRight && !channels.empty();
}

AacReading AacLength::at(ByteView bytes) const
{
    return channels.empty() ? AacReading{.kind = Kind::Unsure} : AacWalk(*this, bytes).run();
}
