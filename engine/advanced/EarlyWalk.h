#pragma once

#include "engine/advanced/MediaWalk.h"

#include <future>
#include <memory>
#include <stop_token>
#include <string>

/** A sample, and what a walk with its help has found in a damaged file. */
struct SampledMedia
{
    std::unique_ptr<SampleProfile> sample;
    WalkedMedia walked;
};

/**
 * A walk through a damaged file that is begun, in a thread of its own, before it is known whether
 * the file tells of its media itself: to find that out takes half as long as to walk. It shares
 * nothing with who has begun it.
 */
class EarlyWalk
{
public:
    /**
     * Throws nothing of its own.
     *
     * @param from where the media begins
     */
    EarlyWalk(const std::string &damagedPath, const std::string &samplePath, std::uint64_t from);
    /** Waits until the walk has stopped, which it does soon. */
    ~EarlyWalk();
    EarlyWalk(const EarlyWalk &) = delete;
    EarlyWalk &operator=(const EarlyWalk &) = delete;

    /**
     * What it has found, once. Waits for its end. Throws what learnSample() and
     * requireFittingPictures() throw.
     */
    SampledMedia take() { return result.get(); }

private:
    std::stop_source stop;
    std::future<SampledMedia> result;
};
