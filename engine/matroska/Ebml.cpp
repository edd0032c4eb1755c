#include "engine/matroska/Ebml.h"

#include <algorithm>
#include <bit>

namespace {

constexpr unsigned longestId = 4;
constexpr unsigned longestSize = 8;

/** Length that a first byte tells by its leading zeros; more than eight for none. */
unsigned lengthBy(std::uint8_t first)
{
    return static_cast<unsigned>(std::countl_zero(first)) + 1;
}

unsigned bytesFor(std::uint64_t number)
{
    unsigned count = 1;
    while (count < sizeof number && number >> (8U * count) != 0)
        ++count;
    return count;
}

void appendId(Bytes &target, std::uint32_t id)
{
    appendBe(target, id, bytesFor(id));
}

} // namespace

unsigned readVariable(ByteView bytes, std::uint64_t &value)
{
    if (bytes.empty())
        return 0;
    const unsigned length = lengthBy(bytes[0]);
    if (length > longestSize || bytes.size() < length)
        return 0;
    value = bytes[0] & (0xffU >> length);
    for (unsigned i = 1; i < length; ++i)
        value = value << 8U | bytes[i];
    return length;
}

std::optional<Element> readElement(const SourceFile &source, std::uint64_t offset,
                                   std::uint64_t limit)
{
    limit = std::min(limit, source.size());
    if (offset >= limit)
        return std::nullopt;
    const ByteView bytes = source.view(offset, static_cast<std::size_t>(std::min<std::uint64_t>(
                                                   longestId + longestSize, limit - offset)));
    const unsigned idLength = bytes.empty() ? 0 : lengthBy(bytes[0]);
    if (idLength == 0 || idLength > longestId || bytes.size() <= idLength)
        return std::nullopt;
    Element element = {.offset = offset};
    for (unsigned i = 0; i < idLength; ++i)
        element.id = element.id << 8U | bytes[i];
    std::uint64_t size = 0;
    const unsigned sizeLength = readVariable(bytes.subspan(idLength), size);
    if (sizeLength == 0)
        return std::nullopt;
    element.headerSize = idLength + sizeLength;
    element.isOpen = size == (1ULL << (7U * sizeLength)) - 1;
    element.isCut = !element.isOpen && size > limit - element.body();
    element.end = element.isOpen || element.isCut ? limit : element.body() + size;
    return element;
}

std::vector<Element> childrenOf(const SourceFile &source, const Element &element, std::size_t most)
{
    std::vector<Element> children;
    std::uint64_t position = element.body();
    while (children.size() < most) {
        const auto child = readElement(source, position, element.end);
        if (!child)
            break;
        children.push_back(*child);
        position = child->end;
    }
    return children;
}

std::optional<Element> findElement(const std::vector<Element> &elements, std::uint32_t id)
{
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [id](const Element &element) { return element.id == id; });
    return found != elements.end() ? std::optional(*found) : std::nullopt;
}

std::uint64_t numberOf(const SourceFile &source, const Element &element)
{
    const ByteView bytes = source.view(
        element.body(),
        static_cast<std::size_t>(std::min<std::uint64_t>(element.bodySize(), longestSize)));
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes)
        number = number << 8U | byte;
    return number;
}

void appendElementHeader(Bytes &target, std::uint32_t id, std::uint64_t bodySize)
{
    appendId(target, id);
    unsigned length = 1;
    // All ones would mean that the size is unknown.
    while (length < longestSize && bodySize >= (1ULL << (7U * length)) - 1)
        ++length;
    appendBe(target, bodySize | 1ULL << (7U * length), length);
}

void appendLongElementHeader(Bytes &target, std::uint32_t id, std::uint64_t bodySize)
{
    appendId(target, id);
    appendBe(target, bodySize | 1ULL << 56U, longestSize);
}

void appendElement(Bytes &target, std::uint32_t id, ByteView body)
{
    appendElementHeader(target, id, body.size());
    appendBytes(target, body);
}

void appendNumber(Bytes &target, std::uint32_t id, std::uint64_t number)
{
    const unsigned length = bytesFor(number);
    appendElementHeader(target, id, length);
    appendBe(target, number, length);
}
