#include "engine/matroska/Block.h"

#include "engine/matroska/Ebml.h"

#include <bit>
#include <optional>

namespace {

constexpr unsigned xiphLacing = 1;
constexpr unsigned fixedLacing = 2;

/** What stands before an element's body. */
struct Header
{
    /** 0 when there is none. */
    std::size_t length = 0;
    std::uint64_t bodySize = 0;
};

Header headerOf(ByteView bytes)
{
    Header header;
    const auto idLength =
        bytes.empty() ? 0 : static_cast<std::size_t>(std::countl_zero(bytes[0])) + 1;
    if (idLength >= bytes.size())
        return header;
    const unsigned sizeLength = readVariable(bytes.subspan(idLength), header.bodySize);
    header.length = sizeLength == 0 ? 0 : idLength + sizeLength;
    return header;
}

/** Reads the sizes of laced frames; leaves `bytes` behind them. */
class LaceReader
{
public:
    LaceReader(ByteView laced, unsigned kindOfLacing) : bytes(laced), lacing(kindOfLacing) {}

    std::vector<ByteView> run()
    {
        if (bytes.empty())
            return {};
        const std::size_t count = std::size_t{bytes[0]} + 1;
        bytes = bytes.subspan(1);
        std::vector<std::uint64_t> sizes;
        std::uint64_t sum = 0;
        while (sizes.size() + 1 < count) {
            const auto size = lacing == fixedLacing  ? std::optional(bytes.size() / count)
                              : lacing == xiphLacing ? xiphSize()
                                                     : ebmlSize(sizes);
            if (!size)
                return {};
            sizes.push_back(*size);
            sum += *size;
        }
        if (sum > bytes.size())
            return {};
        sizes.push_back(bytes.size() - sum);
        std::vector<ByteView> frames;
        for (const std::uint64_t size : sizes) {
            frames.push_back(bytes.first(static_cast<std::size_t>(size)));
            bytes = bytes.subspan(static_cast<std::size_t>(size));
        }
        return frames;
    }

private:
    /** A sum of bytes that ends with the first that is not the largest. */
    std::optional<std::uint64_t> xiphSize()
    {
        constexpr std::uint8_t goesOn = 0xff;
        std::uint64_t size = 0;
        while (!bytes.empty()) {
            const std::uint8_t byte = bytes[0];
            bytes = bytes.subspan(1);
            size += byte;
            if (byte != goesOn)
                return size;
        }
        return std::nullopt;
    }

    /** The first as it is, the others as differences. */
    std::optional<std::uint64_t> ebmlSize(const std::vector<std::uint64_t> &before)
    {
        std::uint64_t value = 0;
        const unsigned length = readVariable(bytes, value);
        if (length == 0)
            return std::nullopt;
        bytes = bytes.subspan(length);
        if (before.empty())
            return value;
        const std::uint64_t middle = (1ULL << (7U * length - 1)) - 1;
        // Beyond the block's end, and around zero, the sum is refused by its size.
        return before.back() + value - middle <= bytes.size()
                   ? std::optional(before.back() + value - middle)
                   : std::nullopt;
    }

    ByteView bytes;
    unsigned lacing;
};

} // namespace

FrameSpan framesOf(ByteView element)
{
    if (element.empty())
        return {};
    FrameSpan frames = {.to = element.size()};
    std::size_t position = headerOf(element).length;
    // A group holds its block among other things.
    if (element[0] == MatroskaId::blockGroup) {
        while (position < element.size()) {
            const Header header = headerOf(element.subspan(position));
            if (header.length == 0 || header.bodySize > element.size() - position - header.length)
                return {};
            const bool isBlock = element[position] == MatroskaId::block;
            position += header.length;
            if (isBlock) {
                frames.to = position + static_cast<std::size_t>(header.bodySize);
                break;
            }
            position += static_cast<std::size_t>(header.bodySize);
        }
    }
    std::uint64_t track = 0;
    const unsigned length =
        position < element.size() ? readVariable(element.subspan(position), track) : 0;
    constexpr std::size_t fixedPart = 3;
    frames.from = position + length + fixedPart;
    if (length == 0 || frames.from > frames.to || frames.to > element.size())
        return {};
    frames.lacing = element[frames.from - 1] >> 1U & 3U;
    return frames;
}

std::vector<ByteView> singleFrames(ByteView element)
{
    const FrameSpan frames = framesOf(element);
    if (frames.to == 0)
        return {};
    const ByteView content = element.subspan(frames.from, frames.to - frames.from);
    return frames.lacing == 0 ? std::vector<ByteView>{content}
                              : LaceReader(content, frames.lacing).run();
}
