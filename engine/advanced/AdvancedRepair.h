#pragma once

#include "engine/recording/RepairReport.h"

#include <string>

/**
 * Makes a sound file out of a damaged MP4 or QuickTime recording that has lost its index, with the
 * help of a sample: a playable file from the same device, which tells how such media is made. A
 * file that tells of its own media is left to quick repair. Both files are only read; the output is
 * there whole, or not at all.
 *
 * Throws what quickRepair() throws, SampleNotUsable, SampleDoesNotFit, and NotAvailable for what
 * recovery with a sample does not know yet.
 */
RepairReport advancedRepair(const std::string &damagedPath, const std::string &samplePath,
                            const std::string &outputPath);
