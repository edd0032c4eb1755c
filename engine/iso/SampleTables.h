#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Fills a track's packets from its tables, as far as they go: places are those that the index
 * states, of bytes that may not be there.
 */
void readSampleTables(const SourceFile &source, IsoTrack &track);

/** Whether the tables can tell at least one packet. */
bool hasSampleTables(const SampleTableBoxes &tables);

/** The tables among the children of an "stbl" box. */
SampleTableBoxes findSampleTables(const std::vector<Box> &children);
