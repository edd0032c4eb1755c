#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/** Numbers as files hold them: "be" with the highest byte first, "le" with the lowest. */
inline std::uint32_t be16(const std::uint8_t *bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) << 8U | bytes[1];
}

inline std::uint32_t be24(const std::uint8_t *bytes)
{
    return be16(bytes) << 8U | bytes[2];
}

inline std::uint32_t be32(const std::uint8_t *bytes)
{
    return be16(bytes) << 16U | be16(bytes + 2);
}

inline std::uint64_t be64(const std::uint8_t *bytes)
{
    return static_cast<std::uint64_t>(be32(bytes)) << 32U | be32(bytes + 4);
}

inline std::uint32_t le32(const std::uint8_t *bytes)
{
    return static_cast<std::uint32_t>(bytes[3]) << 24U |
           static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[1]) << 8U | bytes[0];
}

/** The byte of a number that has `place` lower ones; zero beyond the highest. */
inline std::uint8_t byteOf(std::uint64_t value, unsigned place)
{
    return place < sizeof value ? static_cast<std::uint8_t>(value >> (8U * place))
                                : std::uint8_t{0};
}

/** Appends the lowest `count` bytes of a number, the highest first. */
inline void appendBe(Bytes &target, std::uint64_t value, unsigned count)
{
    for (unsigned i = count; i-- > 0;)
        target.push_back(byteOf(value, i));
}

/** Appends the lowest `count` bytes of a number, the lowest first. */
inline void appendLe(Bytes &target, std::uint64_t value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        target.push_back(byteOf(value, i));
}

/** Writes over the `count` bytes at `position`, the highest first. */
inline void patchBe(Bytes &target, std::size_t position, std::uint64_t value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        target[position + i] = byteOf(value, count - 1 - i);
}

inline void appendBytes(Bytes &target, ByteView bytes)
{
    target.insert(target.end(), bytes.begin(), bytes.end());
}

inline void appendText(Bytes &target, std::string_view text)
{
    target.insert(target.end(), text.begin(), text.end());
}

/** The same bytes as characters; good as long as they are. */
inline std::string_view textOf(ByteView bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}
