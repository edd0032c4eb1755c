#include "engine/recording/PacketDigest.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
}

#include <array>
#include <new>
#include <utility>

namespace {

/** Spreads every bit over all others. */
std::uint64_t mixed(std::uint64_t value)
{
    value ^= value >> 33U;
    value *= 0xff51afd7ed558ccdULL;
    value ^= value >> 33U;
    value *= 0xc4ceb9fe1a85ec53ULL;
    return value ^ value >> 33U;
}

} // namespace

PacketDigest::PacketDigest() : state(av_murmur3_alloc())
{
    if (state == nullptr)
        throw std::bad_alloc();
    av_murmur3_init(state);
}

PacketDigest::~PacketDigest()
{
    av_free(state);
}

PacketDigest::PacketDigest(PacketDigest &&other) noexcept
    : state(std::exchange(other.state, nullptr)),
      packetCount(other.packetCount),
      byteCount(other.byteCount),
      times(other.times)
{
}

void PacketDigest::addBytes(ByteView bytes)
{
    av_murmur3_update(state, bytes.data(), bytes.size());
    byteCount += bytes.size();
}

void PacketDigest::addPacket(std::int64_t time, std::uint64_t size)
{
    if (packetCount++ == 0)
        firstTime = time;
    time = static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                     static_cast<std::uint64_t>(firstTime));
    times = mixed(times ^ mixed(static_cast<std::uint64_t>(time)) ^ size);
}

std::uint64_t PacketDigest::bytesHash()
{
    std::array<std::uint8_t, 16> hash = {};
    av_murmur3_final(state, hash.data());
    return be64(hash.data()) ^ be64(&hash[8]);
}
