#include "engine/media/QuickRepair.h"

#include "engine/EngineError.h"
#include "engine/iso/BoxSearch.h"
#include "engine/iso/IsoCheck.h"
#include "engine/iso/IsoReader.h"
#include "engine/iso/IsoWriter.h"
#include "engine/log/LogLine.h"
#include "engine/matroska/MatroskaReader.h"
#include "engine/matroska/MatroskaWriter.h"
#include "engine/media/AsideFile.h"
#include "engine/media/Containers.h"
#include "engine/media/FfmpegRepair.h"
#include "engine/media/MendedInput.h"
#include "engine/recording/SelfCheck.h"

#include <algorithm>

namespace {

EngineError nothingReadable(const std::string &path)
{
    return {ErrorCode::NothingReadable, "Nothing in the file can be read any more: " + path};
}

RepairReport reportOf(const IsoRecording &recording)
{
    RepairReport report = {.container = recording.isQuickTime ? "mov" : "mp4",
                           .streamsLeftOut = recording.lostTracks};
    for (const IsoTrack &track : recording.tracks) {
        report.tracks.push_back(reportOf(static_cast<const Track &>(track)));
        if (report.tracks.back().kept == 0 && report.tracks.back().found > 0)
            ++report.streamsLeftOut;
    }
    if (recording.offsetShift != 0)
        report.remarks.push_back("All packets stood " + std::to_string(recording.offsetShift) +
                                 " bytes away from where the index said.");
    if (std::any_of(recording.tracks.begin(), recording.tracks.end(),
                    [](const IsoTrack &track) { return track.isRetimed; }))
        report.remarks.emplace_back("The durations in the index made no sense and were derived "
                                    "anew.");
    return report;
}

RepairReport reportOf(const MatroskaRecording &recording)
{
    RepairReport report = {.container = "matroska"};
    for (const bool isDescribed : {true, false}) {
        for (const MatroskaTrack &track : recording.tracks) {
            if (track.isDescribed != isDescribed)
                continue;
            report.tracks.push_back(reportOf(static_cast<const Track &>(track)));
            report.streamsLeftOut += isDescribed ? 0 : 1;
        }
    }
    if (!recording.madeTracks.empty())
        report.remarks.emplace_back("The header that says how pictures and sound are coded is "
                                    "lost and was made anew by what they say themselves.");
    if (std::any_of(recording.clusters.begin(), recording.clusters.end(),
                    [](const MatroskaCluster &cluster) { return cluster.isTimeGuessed; }))
        report.remarks.emplace_back("Some times are lost and were derived from their neighbours.");
    return report;
}

/** Writes aside with a writer of our own, reads back and publishes. */
template <typename Recording, typename Write, typename Check>
RepairReport writeAndCheck(const SourceFile &source, Recording &recording,
                           const std::string &outputPath, Write write, Check check)
{
    AsideFile aside(outputPath, source.path());
    auto written = write(source, recording, aside.path());
    RepairReport report = reportOf(recording);
    if (report.kept() == 0)
        throw nothingReadable(source.path());
    // What has been found may be large, and FFmpeg's reader needs as much again.
    recording = {};
    check(aside.path(), std::move(written));
    aside.publish();
    return report;
}

/** None when the file is none of the containers that we read ourselves, or too little is left. */
std::optional<RepairReport> repairOurselves(const std::string &damagedPath,
                                            const std::string &outputPath)
try {
    const SourceFile source(damagedPath);
    if (mayBeMatroska(source)) {
        if (auto recording = readMatroska(source))
            return writeAndCheck(source, *recording, outputPath, writeMatroska, checkOutput);
    }
    if (mayBeIso(source) && !mayBeAvi(source) && !mayBeFlv(source)) {
        if (auto recording = readIso(source))
            return writeAndCheck(source, *recording, outputPath, writeIso, checkIso);
    }
    return std::nullopt;
} catch (const EngineError &error) {
    if (error.code() != ErrorCode::OutputNotSound)
        throw;
    logLine(TarnLogWarn, std::string("trying FFmpeg's reader: ") + error.what());
    return std::nullopt;
}

/** Copies what lies between damage in containers that we do not write; none where that fails. */
std::optional<RepairReport> repairWithoutHoles(const std::string &damagedPath,
                                               const std::string &outputPath)
try {
    const auto input = openWithoutHoles(damagedPath);
    if (!input)
        return std::nullopt;
    return repairWithFfmpeg(*input, damagedPath, outputPath, Damage::Known);
} catch (const EngineError &error) {
    if (error.code() != ErrorCode::OutputNotSound)
        throw;
    logLine(TarnLogWarn, std::string("trying the file as it stands: ") + error.what());
    return std::nullopt;
}

/** Why nobody can read a file as it stands, and the way out where there is one. */
EngineError notRecognised(const SourceFile &source, const EngineError &error)
{
    const std::string &path = source.path();
    if (mayBeMatroska(source) || mayBeAvi(source))
        return {ErrorCode::NotRecognised,
                "The file has lost the header that says how its pictures and sound are coded, and "
                "they do not say it themselves: " +
                    path};
    if (looksLikeIso(source))
        return {ErrorCode::NotRecognised,
                "The file has lost its index, which says where its pictures and sound stand. "
                "Advanced repair with a video from the same device can do without: " +
                    path};
    return error;
}

} // namespace

RepairReport quickRepair(const std::string &damagedPath, const std::string &outputPath)
try {
    if (auto report = repairOurselves(damagedPath, outputPath))
        return *report;
    if (auto report = repairWithoutHoles(damagedPath, outputPath))
        return *report;
    MediaInput input(damagedPath);
    return repairWithFfmpeg(input, damagedPath, outputPath, Damage::Unknown);
} catch (const EngineError &error) {
    if (error.code() != ErrorCode::NotRecognised)
        throw;
    throw notRecognised(SourceFile(damagedPath), error);
}
