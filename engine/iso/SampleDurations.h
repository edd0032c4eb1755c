#pragma once

#include "engine/iso/IsoRecording.h"

/**
 * Sets times anew where the durations in a track's table make no sense: where they add up to
 * something else than the media header says, and the track's header, or the sample rate of the
 * sound, bears it out. What differs little is left as it is: headers are often rounded.
 */
void mendSampleDurations(IsoRecording &recording);
