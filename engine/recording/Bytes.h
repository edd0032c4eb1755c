#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
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

/** Appends the lowest `count` bytes of a number, the highest first. */
inline void appendBe(Bytes &target, std::uint64_t value, unsigned count)
{
    for (unsigned i = count; i-- > 0;)
        target.push_back(static_cast<std::uint8_t>(value >> (8U * i)));
}

/** Appends the lowest `count` bytes of a number, the lowest first. */
inline void appendLe(Bytes &target, std::uint64_t value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        target.push_back(static_cast<std::uint8_t>(value >> (8U * i)));
}

/** Writes over the `count` bytes at `position`, the highest first. */
inline void patchBe(Bytes &target, std::size_t position, std::uint64_t value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        target[position + i] = static_cast<std::uint8_t>(value >> (8U * (count - 1 - i)));
}

inline void appendBytes(Bytes &target, ByteView bytes)
{
    target.insert(target.end(), bytes.begin(), bytes.end());
}
