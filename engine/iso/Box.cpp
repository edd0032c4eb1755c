#include "engine/iso/Box.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr std::uint64_t shortHeader = 8;
constexpr std::uint64_t longHeader = 16;

// A broken size may make a box of every byte: nothing real holds so many.
constexpr std::size_t mostChildren = 100000;

} // namespace

std::string textOf(FourCc code)
{
    std::string text;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        const auto c = static_cast<unsigned char>(code >> (shift - 8));
        text += std::isprint(c) != 0 ? static_cast<char>(c) : '?';
    }
    return text;
}

bool isPlausibleType(FourCc type)
{
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const auto c = static_cast<unsigned char>(type >> shift);
        // 0xA9 begins the names of QuickTime's texts.
        if (std::isprint(c) == 0 && c != 0xA9)
            return false;
    }
    return true;
}

std::optional<Box> readBox(const SourceFile &source, std::uint64_t offset, std::uint64_t limit)
{
    limit = std::min(limit, source.size());
    if (limit < shortHeader || offset > limit - shortHeader)
        return std::nullopt;
    const ByteView bytes = source.view(offset, longHeader);
    if (bytes.size() < shortHeader)
        return std::nullopt;
    Box box = {.type = be32(&bytes[4]), .offset = offset, .headerSize = shortHeader};
    std::uint64_t size = be32(bytes.data());
    if (size == 1 && bytes.size() >= longHeader && offset + longHeader <= limit) {
        size = be64(&bytes[shortHeader]);
        box.headerSize = longHeader;
    } else if (size == 0) {
        size = limit - offset;
    }
    if (size < box.headerSize)
        return std::nullopt;
    box.isCut = size > limit - offset;
    box.end = box.isCut ? limit : offset + size;
    return box;
}

std::vector<Box> readBoxes(const SourceFile &source, std::uint64_t from, std::uint64_t to)
{
    std::vector<Box> boxes;
    while (boxes.size() < mostChildren) {
        const auto box = readBox(source, from, to);
        if (!box || !isPlausibleType(box->type))
            break;
        boxes.push_back(*box);
        from = box->end;
    }
    return boxes;
}

std::uint32_t numberAt(const SourceFile &source, std::uint64_t offset)
{
    const ByteView bytes = source.view(offset, sizeof(std::uint32_t));
    return bytes.size() == sizeof(std::uint32_t) ? be32(bytes.data()) : 0;
}

std::optional<Box> findBox(const std::vector<Box> &boxes, FourCc type)
{
    const auto found = std::find_if(boxes.begin(), boxes.end(),
                                    [type](const Box &box) { return box.type == type; });
    return found != boxes.end() ? std::optional(*found) : std::nullopt;
}
