#include "engine/advanced/NalRecogniser.h"

#include "engine/advanced/BitReader.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <cstring>

namespace {

// Other scenes than the sample's make larger units: so many times as large, and so many bytes more.
constexpr std::uint64_t largerUnits = 4;
constexpr std::uint64_t moreOfUnit = 65536;

// As much of a unit as is looked at. Longer information is believed.
constexpr std::size_t longestInformation = 4096;
constexpr std::size_t unitStart = 48;

/** The messages in a unit of supplemental information lead exactly to its end. */
bool isInformation(ByteView unit, bool isHevc)
{
    constexpr std::uint8_t goesOn = 0xff;
    constexpr std::uint8_t ending = 0x80;
    const std::size_t header = isHevc ? 2 : 1;
    if (unit.size() <= header)
        return false;
    const Bytes payload = withoutEmulation(unit.subspan(header));
    std::size_t place = 0;
    std::size_t messages = 0;
    while (place + 2 < payload.size()) {
        while (place < payload.size() && payload[place] == goesOn)
            ++place;
        ++place;
        std::size_t size = 0;
        while (place < payload.size() && payload[place] == goesOn) {
            size += goesOn;
            ++place;
        }
        if (place >= payload.size())
            return false;
        size += payload[place++];
        if (size > payload.size() - place)
            return false;
        place += size;
        ++messages;
        if (place < payload.size() && payload[place] == ending)
            break;
    }
    return messages > 0 && place + 1 == payload.size() && payload[place] == ending;
}

bool isDelimiter(unsigned type, bool isHevc)
{
    constexpr unsigned avc = 9;
    constexpr unsigned hevc = 35;
    return type == (isHevc ? hevc : avc);
}

bool isFiller(unsigned type, bool isHevc)
{
    constexpr unsigned avc = 12;
    constexpr unsigned hevc = 38;
    return type == (isHevc ? hevc : avc);
}

} // namespace

NalRecogniser::NalRecogniser(bool hevc, unsigned lengthSize, ByteView configuration)
    : isHevc(hevc), width(lengthSize), sets(hevc)
{
    sets.addConfiguration(configuration);
}

/** The units of one picture, one after another. */
class NalRecogniser::Reading
{
public:
    Reading(const NalRecogniser &recogniser, MediaWindow &media, std::uint64_t offset)
        : rules(recogniser), window(media), start(offset), position(offset)
    {
    }

    std::optional<FoundPicture> run()
    {
        while (takeUnit()) {
        }
        if (!picture)
            return std::nullopt;
        picture->size = position - start;
        picture->isComplete =
            slices >= rules.fewestSlices && slices <= std::max<std::size_t>(rules.mostSlices, 1);
        return picture;
    }

private:
    /** Returns false where the picture ends. */
    bool takeUnit()
    {
        const ByteView head = window.view(position, rules.width + unitStart);
        if (head.size() < rules.width + 2)
            return false;
        const std::uint64_t size = rules.unitAt(head.data());
        if (size == 0 || position + size > window.end())
            return false;
        const ByteView unit = head.subspan(
            rules.width, std::min<std::size_t>(head.size() - rules.width,
                                               static_cast<std::size_t>(size) - rules.width));
        const unsigned type = Nal::typeOf(unit[0], rules.isHevc);
        const bool isFirstUnit = position == start;
        if (isFirstUnit && !rules.knownStarts[unit[0]])
            return false;
        if (Nal::isSlice(type, rules.isHevc)) {
            if (!takeSlice(unit))
                return false;
        } else if (!takeOther(type, size)) {
            return false;
        }
        position += size;
        return true;
    }

    bool takeSlice(ByteView unit)
    {
        const auto slice = rules.sets.readSlice(unit);
        if (!slice)
            return false;
        if (!picture) {
            if (!slice->isFirst)
                return false;
            picture = FoundPicture{.isKey = slice->isKey, .slice = *slice};
            lastAddress = 0;
        } else if (slice->isFirst) {
            // The second field of a picture; anything else begins the next picture.
            const SliceHeader &first = picture->slice;
            const bool isSecondField = first.isField && slice->isField && !hasSecondField &&
                                       first.isBottomField != slice->isBottomField &&
                                       first.frameNumber == slice->frameNumber;
            if (!isSecondField)
                return false;
            hasSecondField = true;
            lastAddress = 0;
        } else if (slice->address <= lastAddress ||
                   slice->frameNumber != picture->slice.frameNumber) {
            return false;
        }
        lastAddress = slice->address;
        ++slices;
        return true;
    }

    bool takeOther(unsigned type, std::uint64_t size)
    {
        // What does not trail a picture begins the next one.
        if (picture && !Nal::isTrailing(type, rules.isHevc))
            return false;
        const ByteView whole =
            window.view(position, std::min<std::size_t>(static_cast<std::size_t>(size),
                                                        longestInformation + rules.width));
        // A file that is cut off meanwhile has no more of it.
        return whole.size() > rules.width &&
               rules.isPlausible(whole.subspan(rules.width), size - rules.width);
    }

    const NalRecogniser &rules;
    MediaWindow &window;
    std::uint64_t start;
    std::uint64_t position;
    std::optional<FoundPicture> picture;
    std::uint32_t lastAddress = 0;
    std::size_t slices = 0;
    bool hasSecondField = false;
};

bool NalRecogniser::learn(ByteView packet)
{
    if (!PacketContent::isNalChain(packet, width, isHevc))
        return false;
    std::size_t slices = 0;
    for (ByteView rest = packet; rest.size() > width;) {
        const auto size = static_cast<std::size_t>(PacketContent::lengthField(rest.data(), width));
        const ByteView unit = rest.subspan(width, size);
        if (unit.size() < 2)
            return false;
        sets.addUnit(unit);
        knownHeaders[unit[0]] = true;
        knownLayers[unit[1]] = true;
        if (rest.size() == packet.size())
            knownStarts[unit[0]] = true;
        largestUnit = std::max<std::uint64_t>(largestUnit, size);
        if (Nal::isSlice(Nal::typeOf(unit[0], isHevc), isHevc)) {
            ++slices;
            if (!sets.readSlice(unit))
                return false;
        }
        rest = rest.subspan(width + size);
    }
    if (slices == 0)
        return false;
    fewestSlices = fewestSlices == 0 ? slices : std::min(fewestSlices, slices);
    mostSlices = std::max(mostSlices, slices);
    return true;
}

std::uint64_t NalRecogniser::largestPossible() const
{
    return largestUnit * largerUnits + moreOfUnit;
}

std::uint64_t NalRecogniser::unitAt(const std::uint8_t *bytes) const
{
    const std::uint64_t size = PacketContent::lengthField(bytes, width);
    const std::uint8_t header = bytes[width];
    const bool isKnown = knownHeaders[header] && (!isHevc || knownLayers[bytes[width + 1]]);
    const bool fits = size >= 2 && size <= largestPossible();
    return isKnown && fits ? size + width : 0;
}

bool NalRecogniser::mayBegin(const std::uint8_t *bytes) const
{
    return knownStarts[bytes[width]] && unitAt(bytes) != 0;
}

std::size_t NalRecogniser::findStart(const std::uint8_t *bytes, std::size_t count) const
{
    // No unit is so long that the highest byte of four says anything.
    const bool beginsWithZero = width == 4 && largestPossible() >> 24U == 0;
    if (!beginsWithZero)
        return findStartOf(*this, bytes, count);
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] != 0) {
            const void *zero = std::memchr(bytes + i, 0, count - i);
            if (zero == nullptr)
                break;
            i = static_cast<std::size_t>(static_cast<const std::uint8_t *>(zero) - bytes);
        }
        if (mayBegin(bytes + i))
            return i;
    }
    return count;
}

bool NalRecogniser::isPlausible(ByteView unit, std::uint64_t size) const
{
    const unsigned type = Nal::typeOf(unit[0], isHevc);
    if (isDelimiter(type, isHevc))
        return size == (isHevc ? 3 : 2);
    if (Nal::isInformation(type, isHevc))
        return size > longestInformation || isInformation(unit, isHevc);
    const std::size_t header = isHevc ? 2 : 1;
    if (isFiller(type, isHevc) && unit.size() > header) {
        const ByteView filling = unit.subspan(header, unit.size() - header - 1);
        return std::all_of(filling.begin(), filling.end(),
                           [](std::uint8_t byte) { return byte == 0xff; });
    }
    return true;
}

std::optional<FoundPicture> NalRecogniser::pictureAt(MediaWindow &media, std::uint64_t offset) const
{
    return Reading(*this, media, offset).run();
}

bool NalRecogniser::isBegun(ByteView bytes) const
{
    if (bytes.size() < startSize || !mayBegin(bytes.data()))
        return false;
    while (bytes.size() > width + 1) {
        const std::uint64_t size = unitAt(bytes.data());
        if (size == 0)
            return false;
        const ByteView unit = bytes.subspan(width);
        if (size > bytes.size())
            return Nal::isSlice(Nal::typeOf(unit[0], isHevc), isHevc) && sets.readSlice(unit);
        bytes = bytes.subspan(static_cast<std::size_t>(size));
    }
    return false;
}

bool NalRecogniser::take(ByteView packet)
{
    const std::size_t known = sets.size();
    while (packet.size() > width + 1) {
        const std::uint64_t size = PacketContent::lengthField(packet.data(), width);
        const ByteView unit = packet.subspan(width);
        // Parameter sets stand before the picture.
        if (size > unit.size() || Nal::isSlice(Nal::typeOf(unit[0], isHevc), isHevc))
            break;
        sets.addUnit(unit.first(static_cast<std::size_t>(size)));
        packet = unit.subspan(static_cast<std::size_t>(size));
    }
    return sets.size() != known;
}
