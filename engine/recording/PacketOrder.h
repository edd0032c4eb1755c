#pragma once

#include "engine/recording/Recording.h"

#include <vector>

/** Walks the packets of several tracks in the order in which they stand in the file. */
class PacketOrder
{
public:
    /** The tracks must live as long, and their packets keep their number and places so far. */
    explicit PacketOrder(const std::vector<Track *> &tracks);

    struct Entry
    {
        std::size_t track = 0;
        /** Null behind the last. */
        Packet *packet = nullptr;
    };

    Entry next();

private:
    struct Cursor
    {
        Track *track;
        std::size_t position = 0;
        /** Indices of packets by place; empty where they are in that order already. */
        std::vector<std::uint32_t> byPlace = {};

        Packet *current() const;
    };

    std::vector<Cursor> cursors;
};
