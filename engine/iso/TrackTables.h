#pragma once

#include "engine/iso/IsoRecording.h"

/** Appends the tables that tell of a track's kept packets: durations, sizes, places and so on. */
void appendTrackTables(Bytes &target, const IsoTrack &track);
