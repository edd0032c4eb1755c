#pragma once

#include "engine/recording/Bytes.h"

/** Reads the bits of a NAL unit's payload, from the highest of the first byte on. */
class BitReader
{
public:
    /** @param payload without emulation prevention: see withoutEmulation(); must live as long */
    explicit BitReader(ByteView payload) : bytes(payload) {}

    /** Up to 32 bits as a number; zeros behind the end. */
    std::uint32_t bits(unsigned count)
    {
        std::uint32_t value = 0;
        for (; count > 0; --count)
            value = value << 1U | bit();
        return value;
    }

    std::uint32_t bit()
    {
        const std::size_t place = position / 8;
        if (place >= bytes.size()) {
            over = true;
            return 0;
        }
        const unsigned shift = 7U - static_cast<unsigned>(position % 8);
        ++position;
        return static_cast<std::uint32_t>(bytes[place]) >> shift & 1U;
    }

    bool flag() { return bit() != 0; }

    void skip(unsigned count)
    {
        for (; count > 0; --count)
            bit();
    }

    /** An Exp-Golomb number without sign. */
    std::uint32_t golomb()
    {
        constexpr unsigned longest = 31;
        unsigned zeros = 0;
        while (zeros <= longest && !over && bit() == 0)
            ++zeros;
        if (zeros > longest)
            over = true;
        return over ? 0 : (1U << zeros) - 1 + bits(zeros);
    }

    std::int32_t signedGolomb()
    {
        const std::uint32_t code = golomb();
        const auto half = static_cast<std::int32_t>(code / 2);
        return code % 2 == 0 ? -half : half + 1;
    }

    /** More was read than there is, or a number that cannot be: what was read means nothing. */
    bool isOver() const { return over; }

private:
    ByteView bytes;
    std::size_t position = 0;
    bool over = false;
};

/** The payload of a NAL unit without the bytes that keep start codes out of it. */
inline Bytes withoutEmulation(ByteView unit)
{
    Bytes payload;
    payload.reserve(unit.size());
    unsigned zeros = 0;
    for (const std::uint8_t byte : unit) {
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        payload.push_back(byte);
    }
    return payload;
}
