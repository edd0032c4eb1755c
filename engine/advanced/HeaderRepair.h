#pragma once

#include "engine/recording/RepairReport.h"
#include "engine/recording/SourceFile.h"

#include <optional>

/**
 * Repairs an AVI or Matroska file that has lost its header, and with it what says how its pictures
 * and sound are coded, with the header of a sample of the same device.
 *
 * Throws SampleDoesNotFit when nothing can be read with it, otherwise as quickRepair().
 *
 * @return none for a file that has its header, or is of another container than the sample
 */
std::optional<RepairReport> repairWithHeaderOf(const SourceFile &damaged,
                                               const std::string &samplePath,
                                               const std::string &outputPath);
