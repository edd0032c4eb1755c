#include "engine/recording/PacketContent.h"

#include <algorithm>

namespace {

/** Finds every run of `length` zeros; may take one of half that length for it. */
bool hasZeros(ByteView bytes, std::size_t length)
{
    const std::size_t step = std::max<std::size_t>(length / 2, 1);
    for (std::size_t i = 0; i + step <= bytes.size(); i += step) {
        // Most places are ruled out by their first byte.
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(i);
        if (*begin == 0 && std::all_of(begin, begin + static_cast<std::ptrdiff_t>(step),
                                       [](std::uint8_t byte) { return byte == 0; }))
            return true;
    }
    return false;
}

/** From the first scan to the last mark of the picture's end: behind it, recorders pad. */
ByteView jpegData(ByteView packet)
{
    constexpr std::uint8_t scan[] = {0xff, 0xda};
    constexpr std::uint8_t end[] = {0xff, 0xd9};
    const auto from = std::search(packet.begin(), packet.end(), std::begin(scan), std::end(scan));
    const auto to = std::find_end(from, packet.end(), std::begin(end), std::end(end));
    return packet.subspan(static_cast<std::size_t>(from - packet.begin()),
                          static_cast<std::size_t>(to - from));
}

/** Without the zeros that fill a packet, or its chunk with the header of eight bytes, up. */
ByteView withoutPadding(ByteView packet)
{
    constexpr std::size_t chunkHeader = 8;
    const auto last =
        std::find_if(packet.rbegin(), packet.rend(), [](std::uint8_t byte) { return byte != 0; });
    const auto zeros = static_cast<std::size_t>(last - packet.rbegin());
    for (const std::size_t sector : {512U, 2048U, 4096U}) {
        const bool isFilled =
            packet.size() % sector == 0 || (packet.size() + chunkHeader) % sector == 0;
        if (isFilled && zeros < sector)
            return packet.first(packet.size() - zeros);
    }
    return packet;
}

} // namespace

bool PacketContent::isNalHeader(std::uint8_t byte, bool isHevc)
{
    constexpr unsigned hevcTypes = 48;
    constexpr unsigned avcTypes = 24;
    const unsigned forbidden = byte & 0x80U;
    const unsigned type = isHevc ? byte >> 1U & 0x3fU : byte & 0x1fU;
    return forbidden == 0 && type < (isHevc ? hevcTypes : avcTypes) && (isHevc || type > 0);
}

std::uint64_t PacketContent::lengthField(const std::uint8_t *bytes, unsigned width)
{
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i)
        value = value << 8U | bytes[i];
    return value;
}

bool PacketContent::isNalChain(ByteView packet, unsigned lengthSize, bool isHevc)
{
    while (packet.size() > lengthSize) {
        const std::uint64_t length = lengthField(packet.data(), lengthSize);
        if (length == 0 || length > packet.size() - lengthSize ||
            !isNalHeader(packet[lengthSize], isHevc))
            return false;
        packet = packet.subspan(lengthSize + static_cast<std::size_t>(length));
    }
    return packet.empty();
}

bool PacketContent::isOverwritten(ByteView packet, const Kind &kind)
{
    constexpr std::size_t leastToJudge = 8;
    if (kind.hasJpegHeader)
        packet = jpegData(packet);
    if (kind.mayBePadded)
        packet = withoutPadding(packet);
    if (packet.size() < leastToJudge || kind.impossibleZeros == 0)
        return false;
    return hasZeros(packet, std::min(packet.size(), kind.impossibleZeros));
}
