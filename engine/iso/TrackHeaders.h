#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Reads what an index ("moov") says of the recording and its tracks, without their packets. Tracks
 * of which too little is left to find a packet are left out and counted.
 */
IsoRecording readTrackHeaders(const SourceFile &source, const Box &index);
