#include "engine/advanced/HeaderRepair.h"

#include "engine/EngineError.h"
#include "engine/matroska/MatroskaReader.h"
#include "engine/matroska/MatroskaWriter.h"
#include "engine/media/AsideFile.h"
#include "engine/media/Containers.h"
#include "engine/media/FfmpegRepair.h"
#include "engine/media/MendedInput.h"

namespace {

EngineError misfit()
{
    return {ErrorCode::SampleDoesNotFit,
            "The sample does not fit the damaged video: nothing in it can be read with what the "
            "sample's header says. Choose a file that the same device recorded with the same "
            "settings."};
}

/** Whether a Matroska file still says itself what its tracks are. */
bool hasOwnTracks(const SourceFile &source)
try {
    const auto recording = readMatroska(source);
    return recording && recording->tracksElement;
} catch (const EngineError &error) {
    if (error.code() == ErrorCode::NotRecognised)
        return false;
    throw;
}

void addRemark(RepairReport &report)
{
    report.remarks.emplace_back("What its lost header said was taken from the sample's.");
}

RepairReport repairMatroska(const SourceFile &damaged, const SourceFile &sample,
                            const std::string &outputPath)
{
    auto recording = readMatroskaLike(damaged, sample);
    if (!recording)
        throw misfit();
    AsideFile aside(outputPath, damaged.path());
    std::vector<ExpectedTrack> expected =
        writeMatroskaLike(damaged, sample, *recording, aside.path());
    RepairReport report = {.container = "matroska"};
    for (const MatroskaTrack &track : recording->tracks)
        report.tracks.push_back(reportOf(static_cast<const Track &>(track)));
    recording.reset();
    if (report.kept() == 0)
        throw misfit();
    checkOutput(aside.path(), std::move(expected));
    aside.publish();
    addRemark(report);
    return report;
}

RepairReport repairAvi(const SourceFile &damaged, const SourceFile &sample,
                       const std::string &outputPath)
{
    const auto input = openAviLike(damaged.path(), sample);
    if (!input)
        throw misfit();
    RepairReport report = repairWithFfmpeg(*input, damaged.path(), outputPath, Damage::Known);
    addRemark(report);
    return report;
}

} // namespace

std::optional<RepairReport> repairWithHeaderOf(const SourceFile &damaged,
                                               const std::string &samplePath,
                                               const std::string &outputPath)
try {
    const bool isMatroska = mayBeMatroska(damaged);
    if (!isMatroska && !mayBeAvi(damaged))
        return std::nullopt;
    if (isMatroska && hasOwnTracks(damaged))
        return std::nullopt;
    const SourceFile sample(samplePath);
    if (isMatroska ? !looksLikeMatroska(sample) : !isAvi(sample))
        return std::nullopt;
    return isMatroska ? repairMatroska(damaged, sample, outputPath)
                      : repairAvi(damaged, sample, outputPath);
} catch (const EngineError &error) {
    // Key pictures that mean nothing to a decoder with the sample's parameters.
    if (error.code() == ErrorCode::NothingReadable)
        throw misfit();
    throw;
}
