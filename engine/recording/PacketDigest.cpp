#include "engine/recording/PacketDigest.h"

void PacketDigest::addPacket(std::int64_t time, std::uint64_t size)
{
    if (packetCount++ == 0)
        firstTime = time;
    times.add(static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(firstTime));
    times.add(size);
}
