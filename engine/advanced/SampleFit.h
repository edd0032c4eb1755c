#pragma once

#include "engine/advanced/MediaWalk.h"

/**
 * Whether a sample goes with a damaged file, told before anything is written. All throw
 * SampleDoesNotFit with what differs.
 */

/** Decodes some pictures of the damaged file as if they were the sample's. */
void requireFittingPictures(const SampleProfile &sample, const SourceFile &damaged,
                            std::uint64_t from, std::uint64_t to);

/** Holds what a walk has found against what the sample led to expect. */
void requireFittingMedia(const SampleProfile &sample, const WalkedMedia &walked);
