#pragma once

#include "engine/advanced/MediaWalk.h"

/**
 * Gives the packets of a walk their times, and puts them into the recording, whose tracks are the
 * sample's. Where something is missing, packets marked as lost stand for it, as many as can be
 * told: pictures by their order counts and the distances of key pictures, sound by what stood
 * beside it.
 */
void setTimes(const SampleProfile &sample, WalkedMedia walked, IsoRecording &recording);
