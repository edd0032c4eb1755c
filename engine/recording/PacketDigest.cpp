#include "engine/recording/PacketDigest.h"

#define XXH_INLINE_ALL
// Without full optimisation, its functions cannot all be inlined as it demands.
#ifndef NDEBUG
#define XXH_NO_INLINE_HINTS 1
#endif
#include <xxhash.h>

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

struct PacketDigest::State
{
    XXH3_state_t hash = {};
};

PacketDigest::PacketDigest() : state(std::make_unique<State>())
{
    XXH3_64bits_reset(&state->hash);
}

PacketDigest::~PacketDigest() = default;
PacketDigest::PacketDigest(PacketDigest &&) noexcept = default;
PacketDigest &PacketDigest::operator=(PacketDigest &&) noexcept = default;

void PacketDigest::addBytes(ByteView bytes)
{
    XXH3_64bits_update(&state->hash, bytes.data(), bytes.size());
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

std::uint64_t PacketDigest::bytesHash() const
{
    return XXH3_64bits_digest(&state->hash);
}
