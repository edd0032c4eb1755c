#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/**
 * Messages on a byte stream: each is preceded by its length in bytes, 32 bits, little-endian.
 * A message may be empty.
 */
namespace Frame {

/** Longer messages are taken for a peer that does not speak this protocol. */
inline constexpr std::uint32_t longestMessage = 64U * 1024 * 1024;

inline constexpr std::size_t headerSize = 4;

std::array<std::uint8_t, headerSize> header(std::uint32_t messageSize);

/** Puts messages together from bytes that arrive in pieces. */
class Reader
{
public:
    /** Bytes go in here, in order. */
    std::vector<std::uint8_t> &input() { return bytes; }

    /** A whole message is there to be taken. */
    bool hasMessage() const;

    /** Takes the next whole message, if one is there. */
    std::optional<std::vector<std::uint8_t>> take();

    /** The stream holds something that is no message; nothing more comes out. */
    bool isBroken() const;

private:
    /** Size that the next message's header states, once the header is there. */
    std::optional<std::uint32_t> announcedSize() const;

    std::vector<std::uint8_t> bytes;
};

} // namespace Frame
