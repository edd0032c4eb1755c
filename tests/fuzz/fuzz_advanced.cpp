// Feeds the recovery with a sample with whatever libFuzzer thinks of: ./dev fuzz. The first byte
// chooses the sample, the rest is the damaged file; or, where there is no sample of that number,
// the rest is the sample. Samples are in the folder VELLUMIX_FUZZ_SAMPLES.

#include "engine/EngineError.h"
#include "engine/advanced/MediaWalk.h"
#include "engine/advanced/SampleFit.h"
#include "engine/advanced/Timeline.h"
#include "engine/iso/FrontIndexWriter.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>

namespace {

const std::string &inputPath()
{
    static const std::string path = "/dev/shm/vellumix-fuzz-advanced-" + std::to_string(getpid());
    return path;
}

std::string outputPath()
{
    return inputPath() + ".out";
}

void removeFiles()
{
    std::remove(inputPath().c_str());
    std::remove(outputPath().c_str());
}

void recover(SampleProfile &sample)
{
    const SourceFile damaged(inputPath());
    WalkedMedia walked = walkMedia(sample, damaged, 0, damaged.size());
    IsoRecording recording = sample.recording;
    setTimes(sample, std::move(walked), recording);
    for (IsoTrack &track : recording.tracks)
        fillWithSilence(track);
    writeIsoIndexFirst(damaged, sample.source, recording, outputPath());
    requireFittingPictures(sample, damaged, 0, damaged.size());
}

/** Learned once: that takes longer than all the rest. */
SampleProfile &sampleNumber(const std::string &folder, unsigned number)
{
    static std::map<unsigned, std::unique_ptr<SampleProfile>> samples;
    auto &sample = samples[number];
    if (!sample)
        sample = learnSample(folder + "/" + std::to_string(number));
    return *sample;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr unsigned samples = 7;
    static const bool isRegistered = !inputPath().empty() && std::atexit(removeFiles) == 0;
    static const char *folder = std::getenv("VELLUMIX_FUZZ_SAMPLES");
    if (size < 1 || !isRegistered || folder == nullptr)
        return 0;
    std::ofstream(inputPath(), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char *>(data + 1), static_cast<std::streamsize>(size - 1));
    std::ofstream(outputPath(), std::ios::binary | std::ios::trunc).flush();
    try {
        const unsigned number = data[0] % (samples + 1);
        if (number < samples)
            recover(sampleNumber(folder, number));
        else
            recover(*learnSample(inputPath()));
    } catch (const EngineError &) {
        // What cannot be recovered is said so.
    }
    return 0;
}
