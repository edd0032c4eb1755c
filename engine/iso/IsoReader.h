#pragma once

#include "engine/iso/IsoRecording.h"

#include <limits>
#include <optional>

/**
 * Understands a file of the family, damaged or not: finds its index and fragments wherever they
 * are, and from them the packets. Packets whose bytes are not all there are marked as lost. None
 * when there is no index, or nothing in it tells of a packet.
 *
 * @param searchReach see findStructure()
 */
std::optional<IsoRecording>
readIso(const SourceFile &source,
        std::uint64_t searchReach = std::numeric_limits<std::uint64_t>::max());

/** The same, of a file whose structure is known. */
std::optional<IsoRecording> readIso(const SourceFile &source, const IsoStructure &structure);
