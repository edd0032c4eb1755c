#pragma once

#include "engine/advanced/SampleProfile.h"

#include <cstdint>
#include <stop_token>
#include <vector>

/** A run of bytes between pictures in which something is missing. */
struct WalkGap
{
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    /** Bytes of it that mean nothing. */
    std::uint64_t unknown = 0;
    /** How many packets of each track stand before it. */
    std::vector<std::size_t> packetsBefore = {};
};

/** What a walk through media without an index has found. Times are not known yet. */
struct WalkedMedia
{
    /**
     * By track, as the sample has them. Pictures have their order count for a composition offset;
     * those that were overwritten are marked as lost.
     */
    std::vector<std::vector<Packet>> packets;
    /** Numbers of the pictures at which order counts begin anew. */
    std::vector<std::size_t> sequences;
    std::vector<WalkGap> gaps;
    /** Packets, or samples, of sound of which it cannot be told which track's they are. */
    std::uint64_t unshared = 0;
    /** Runs of bytes between pictures that were what the sample led to expect, and others. */
    std::size_t goodRuns = 0;
    std::size_t badRuns = 0;
    /** Bytes that were walked, and those of them that mean nothing. */
    std::uint64_t walked = 0;
    std::uint64_t unknown = 0;
};

/**
 * Labels the media of a damaged file, from one place to another, in one pass from its beginning to
 * its end. Where a label is lost, it goes on at the next certain picture. Throws nothing of its
 * own.
 *
 * @param stop when it is asked for, the walk ends early: what it returns is then of no use
 */
WalkedMedia walkMedia(SampleProfile &sample, const SourceFile &damaged, std::uint64_t from,
                      std::uint64_t to, const std::stop_token &stop = {});

/** What stands between pictures is not what the sample led to expect. */
bool isMisfit(const WalkedMedia &walked);
