#include "engine/advanced/EarlyWalk.h"

#include "engine/advanced/SampleFit.h"

namespace {

SampledMedia walkWith(const std::string &damagedPath, const std::string &samplePath,
                      std::uint64_t from, const std::stop_token &stop)
{
    const SourceFile damaged(damagedPath);
    SampledMedia media = {.sample = learnSample(samplePath), .walked = {}};
    requireFittingPictures(*media.sample, damaged, from, damaged.size());
    media.walked = walkMedia(*media.sample, damaged, from, damaged.size(), stop);
    return media;
}

} // namespace

EarlyWalk::EarlyWalk(const std::string &damagedPath, const std::string &samplePath,
                     std::uint64_t from)
    : result(std::async(std::launch::async, [=, token = stop.get_token()] {
          return walkWith(damagedPath, samplePath, from, token);
      }))
{
}

EarlyWalk::~EarlyWalk()
{
    // The result waits for its thread when it goes.
    stop.request_stop();
}
