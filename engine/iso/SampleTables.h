#pragma once

#include "engine/iso/IsoRecording.h"

#include <functional>

using PacketVisitor = std::function<void(const Packet &)>;

/**
 * Shows the packets of which readSampleTables() would fill a track, one after another, and keeps
 * none of them: there may be millions. All else that the tables say of the track is filled in.
 */
void visitSampleTables(const SourceFile &source, IsoTrack &track, std::uint64_t most,
                       const PacketVisitor &visit);

/**
 * Fills a track's packets from its tables, as far as they go: places are those that the index
 * states, of bytes that may not be there.
 *
 * @param most packets that the track may have: see mostPackets()
 */
void readSampleTables(const SourceFile &source, IsoTrack &track, std::uint64_t most);

/**
 * The sample description that a packet is of by what its index says. Readers skip packets of one
 * that is not there, which would then be lost without a word: these get the first.
 */
std::uint32_t descriptionOf(const IsoTrack &track, std::uint32_t number);

/** Whether the tables can tell at least one packet. */
bool hasSampleTables(const SampleTableBoxes &tables);

/** The tables among the children of an "stbl" box. */
SampleTableBoxes findSampleTables(const std::vector<Box> &children);
