#pragma once

#include "engine/iso/IsoRecording.h"

/** What a packet of this track may look like at a place of the file, by the marks of its codec. */
enum class Look { Unknown, Right, Wrong };

Look lookAt(const SourceFile &source, const IsoTrack &track, std::uint64_t offset,
            std::uint64_t size);

/** The lengths of NAL units lead from the first byte of the packet exactly to its end. */
bool isNalChain(const SourceFile &source, const IsoTrack &track, std::uint64_t offset,
                std::uint64_t size);

/**
 * Whether a decoder could begin with the first bytes of a packet of pictures; true where nothing
 * can be told.
 */
bool mayBeDecoded(const IsoTrack &track, ByteView packet);
