#include "engine/pipe/Frame.h"

std::array<std::uint8_t, Frame::headerSize> Frame::header(std::uint32_t messageSize)
{
    return {static_cast<std::uint8_t>(messageSize & 0xffU),
            static_cast<std::uint8_t>((messageSize >> 8U) & 0xffU),
            static_cast<std::uint8_t>((messageSize >> 16U) & 0xffU),
            static_cast<std::uint8_t>((messageSize >> 24U) & 0xffU)};
}

std::optional<std::uint32_t> Frame::Reader::announcedSize() const
{
    if (bytes.size() < headerSize)
        return std::nullopt;
    std::uint32_t size = 0;
    for (std::size_t i = headerSize; i-- > 0;)
        size = (size << 8U) | bytes[i];
    return size;
}

bool Frame::Reader::isBroken() const
{
    return announcedSize().value_or(0) > longestMessage;
}

bool Frame::Reader::hasMessage() const
{
    const auto size = announcedSize();
    return size && !isBroken() && bytes.size() - headerSize >= *size;
}

std::optional<std::vector<std::uint8_t>> Frame::Reader::take()
{
    if (!hasMessage())
        return std::nullopt;
    const auto begin = bytes.begin() + headerSize;
    const auto end = begin + *announcedSize();
    std::vector<std::uint8_t> message(begin, end);
    bytes.erase(bytes.begin(), end);
    return message;
}
