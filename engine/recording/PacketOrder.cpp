#include "engine/recording/PacketOrder.h"

#include <algorithm>
#include <numeric>

PacketOrder::PacketOrder(const std::vector<Track *> &tracks)
{
    const auto standsBefore = [](const Packet &a, const Packet &b) { return a.offset < b.offset; };
    for (Track *track : tracks) {
        Cursor cursor = {.track = track};
        auto &packets = track->packets;
        if (!std::is_sorted(packets.begin(), packets.end(), standsBefore)) {
            cursor.byPlace.resize(packets.size());
            std::iota(cursor.byPlace.begin(), cursor.byPlace.end(), 0U);
            std::stable_sort(cursor.byPlace.begin(), cursor.byPlace.end(),
                             [&](std::uint32_t a, std::uint32_t b) {
                                 return standsBefore(packets[a], packets[b]);
                             });
        }
        cursors.push_back(std::move(cursor));
    }
}

Packet *PacketOrder::Cursor::current() const
{
    if (position >= track->packets.size())
        return nullptr;
    return &track->packets[byPlace.empty() ? position : byPlace[position]];
}

PacketOrder::Entry PacketOrder::next()
{
    Entry first;
    for (std::size_t i = 0; i < cursors.size(); ++i) {
        Packet *packet = cursors[i].current();
        if (packet != nullptr && (first.packet == nullptr || packet->offset < first.packet->offset))
            first = {.track = i, .packet = packet};
    }
    if (first.packet != nullptr)
        ++cursors[first.track].position;
    return first;
}
