#include "engine/advanced/IntraRecogniser.h"

#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::uint64_t largerPictures = 4;

constexpr std::uint8_t mark = 0xff;
constexpr std::uint8_t startOfImage = 0xd8;
constexpr std::uint8_t endOfImage = 0xd9;
constexpr std::uint8_t startOfScan = 0xda;

// A picture has a few tables, and a scan or several; descriptions come in parts.
constexpr int mostSegments = 512;

/** Marks within coded data: an escaped byte, or a restart. */
bool isWithinData(std::uint8_t code)
{
    constexpr std::uint8_t firstRestart = 0xd0;
    constexpr std::uint8_t lastRestart = 0xd7;
    return code == 0 || (code >= firstRestart && code <= lastRestart);
}

/** Stands once in a picture, before its coded data: how it is coded, and how large it is. */
bool isFrameHeader(std::uint8_t code)
{
    constexpr std::uint8_t first = 0xc0;
    constexpr std::uint8_t last = 0xcf;
    constexpr std::array<std::uint8_t, 3> others = {0xc4, 0xc8, 0xcc};
    return code >= first && code <= last &&
           std::find(others.begin(), others.end(), code) == others.end();
}

/** Where the mark stands that ends the coded data from `place` on; the end of what is there. */
std::size_t endOfData(ByteView bytes, std::size_t place)
{
    while (place < bytes.size()) {
        const auto next =
            std::find(bytes.begin() + static_cast<std::ptrdiff_t>(place), bytes.end(), mark);
        place = static_cast<std::size_t>(next - bytes.begin());
        if (place + 1 >= bytes.size() || !isWithinData(bytes[place + 1]))
            break;
        place += 2;
    }
    return std::min(place, bytes.size());
}

/** The same, of bytes that stand at `offset`; looks at none twice. */
std::size_t passData(ByteView bytes, std::uint64_t offset, std::size_t place,
                     JpegRecogniser::CodedData &passed)
{
    const std::uint64_t at = offset + place;
    if (at < passed.from || at >= passed.to)
        passed = {.from = at, .to = at};
    const auto from = static_cast<std::size_t>(passed.to - offset);
    if (from >= bytes.size())
        return bytes.size();
    const std::size_t end = endOfData(bytes, from);
    constexpr std::size_t zeros = PacketContent::zerosInOldPicture;
    passed.isOverwritten =
        passed.isOverwritten ||
        (end - from >= zeros &&
         PacketContent::isOverwritten(bytes.subspan(from, end - from), {.impossibleZeros = zeros}));
    passed.to = offset + end;
    return end;
}

/**
 * Where the picture at the beginning of `bytes`, which stand at `offset`, ends; 0 when it does not,
 * or is none. Data that was overwritten with zeros goes on somewhere in another picture.
 */
std::size_t jpegSize(ByteView bytes, std::uint64_t offset, JpegRecogniser::CodedData &passed)
{
    std::size_t place = 2;
    bool hasFrame = false;
    for (int segments = 0; segments < mostSegments && place + 2 <= bytes.size(); ++segments) {
        while (place + 2 < bytes.size() && bytes[place] == mark && bytes[place + 1] == mark)
            ++place;
        const std::uint8_t code = bytes[place + 1];
        if (bytes[place] != mark || code < 0xc0)
            return 0;
        if (code == endOfImage)
            return place + 2;
        const bool isFrame = isFrameHeader(code);
        if (place + 4 > bytes.size() || (isFrame && hasFrame))
            return 0;
        hasFrame = hasFrame || isFrame;
        place += 2 + be16(&bytes[place + 2]);
        if (code != startOfScan || place >= bytes.size())
            continue;
        place = passData(bytes, offset, place, passed);
        if (passed.isOverwritten)
            return 0;
    }
    return 0;
}

} // namespace

bool JpegRecogniser::learn(ByteView packet)
{
    largest = std::max<std::uint64_t>(largest, packet.size());
    CodedData data;
    return packet.size() > 4 && packet[0] == mark && packet[1] == startOfImage &&
           jpegSize(packet, 0, data) == packet.size();
}

bool JpegRecogniser::mayBegin(const std::uint8_t *bytes) const
{
    return bytes[0] == mark && bytes[1] == startOfImage && bytes[2] == mark && bytes[3] >= 0xc0;
}

std::optional<FoundPicture> JpegRecogniser::pictureAt(MediaWindow &media,
                                                      std::uint64_t offset) const
{
    constexpr std::size_t step = 65536;
    const ByteView start = media.view(offset, startSize);
    if (start.size() < startSize || !mayBegin(start.data()))
        return std::nullopt;
    const auto most = static_cast<std::size_t>(
        std::min<std::uint64_t>(largest * largerPictures + step, MediaWindow::mostViewed));
    for (std::size_t size = std::min<std::size_t>(step, most);; size = std::min(size * 4, most)) {
        const ByteView bytes = media.view(offset, size);
        if (const std::size_t found = jpegSize(bytes, offset, passed); found > 0)
            return FoundPicture{.size = found, .isKey = true};
        if (bytes.size() < size || size == most)
            return std::nullopt;
    }
}

bool JpegRecogniser::isEnded(ByteView bytes) const
{
    return bytes.size() >= 2 && bytes[bytes.size() - 2] == mark && bytes.back() == endOfImage;
}

bool SizedPictureRecogniser::learn(ByteView packet)
{
    largest = std::max<std::uint64_t>(largest, packet.size());
    return packet.size() >= startSize && mayBegin(packet.data()) &&
           be32(packet.data()) == packet.size();
}

bool SizedPictureRecogniser::mayBegin(const std::uint8_t *bytes) const
{
    constexpr std::uint32_t picture = 0x69637066;
    return be32(bytes + 4) == picture && be32(bytes) > startSize &&
           be32(bytes) <= largest * largerPictures;
}

std::optional<FoundPicture> SizedPictureRecogniser::pictureAt(MediaWindow &media,
                                                              std::uint64_t offset) const
{
    const ByteView start = media.view(offset, startSize);
    if (start.size() < startSize || !mayBegin(start.data()))
        return std::nullopt;
    const std::uint64_t size = be32(start.data());
    if (offset + size > media.end())
        return std::nullopt;
    return FoundPicture{.size = size, .isKey = true};
}
