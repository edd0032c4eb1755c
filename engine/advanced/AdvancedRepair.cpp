#include "engine/advanced/AdvancedRepair.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/advanced/EarlyWalk.h"
#include "engine/advanced/HeaderRepair.h"
#include "engine/advanced/SampleFit.h"
#include "engine/advanced/Timeline.h"
#include "engine/iso/Fragments.h"
#include "engine/iso/FrontIndexWriter.h"
#include "engine/iso/IsoCheck.h"
#include "engine/iso/IsoReader.h"
#include "engine/log/LogLine.h"
#include "engine/media/AsideFile.h"
#include "engine/media/Containers.h"
#include "engine/media/QuickRepair.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace {

// An index that tells of so much of the file, and is right so often, is a good one.
constexpr double goodPart = 0.9;

constexpr const char *sampleNotNeeded =
    "The file tells of its own media: the sample was not needed.";

std::uint64_t bytesOf(const IsoRecording &recording)
{
    std::uint64_t bytes = 0;
    for (const IsoTrack &track : recording.tracks) {
        for (const Packet &packet : track.packets)
            bytes += packet.isLost == 0 ? packet.size : 0;
    }
    return bytes;
}

std::uint64_t bytesOf(const WalkedMedia &walked)
{
    std::uint64_t bytes = 0;
    for (const auto &packets : walked.packets) {
        for (const Packet &packet : packets)
            bytes += packet.isLost == 0 ? packet.size : 0;
    }
    return bytes;
}

/**
 * Bytes of the packets that the file itself tells of, where it tells of pictures that stand in
 * their places. An index may well tell of what is somewhere else, or gone.
 */
std::uint64_t bytesTruly(const SampleProfile &sample, const SourceFile &damaged,
                         const IsoRecording &told)
{
    constexpr std::size_t mostTried = 64;
    MediaWindow media(damaged);
    std::size_t tried = 0;
    std::size_t found = 0;
    for (const IsoTrack &track : told.tracks) {
        if (track.kind != TrackKind::Video)
            continue;
        const std::size_t step = track.packets.size() / mostTried + 1;
        for (std::size_t i = 0; i < track.packets.size(); i += step) {
            const Packet &packet = track.packets[i];
            if (packet.isLost != 0)
                continue;
            const auto picture = sample.pictures->pictureAt(media, packet.offset);
            ++tried;
            found += picture && picture->size == packet.size ? 1U : 0U;
        }
    }
    const bool isTrue =
        found > 0 && static_cast<double>(found) >= goodPart * static_cast<double>(tried);
    return isTrue ? bytesOf(told) : 0;
}

/** Where the media begins: behind the header of the first box of media, as far as there is one. */
std::uint64_t startOfMedia(const SourceFile &source)
{
    constexpr std::uint64_t header = 8;
    constexpr std::uint64_t longHeader = 16;
    std::uint64_t place = 0;
    while (place + header <= source.size()) {
        const ByteView bytes = source.view(place, header);
        const FourCc type = be32(&bytes[4]);
        if (type == fourCc("mdat"))
            return place + (be32(bytes.data()) == 1 ? longHeader : header);
        const auto box = readBox(source, place, source.size());
        if (!box || box->isCut || !isPlausibleType(type))
            break;
        place = box->end;
    }
    return 0;
}

/** Why there is no sound in the output; none where there is another reason, or some sound. */
std::optional<std::string> remarkOnUntoldSound(const SampleProfile &sample)
{
    if (!sample.hasUntoldSound())
        return std::nullopt;
    std::string remark =
        "Sound of this kind cannot be recovered with a sample yet and was left out: ";
    const auto untold = std::find_if(sample.tracks.begin(), sample.tracks.end(),
                                     [](const TrackProfile &track) { return track.isUntold; });
    remark +=
        sample.recording.tracks[static_cast<std::size_t>(untold - sample.tracks.begin())].codec;
    return remark + ".";
}

RepairReport reportOf(const IsoRecording &recording, const WalkedMedia &walked)
{
    RepairReport report = {.container = recording.isQuickTime ? "mov" : "mp4"};
    for (const IsoTrack &track : recording.tracks) {
        report.tracks.push_back(reportOf(static_cast<const Track &>(track)));
        if (report.tracks.back().kept == 0)
            ++report.streamsLeftOut;
    }
    report.remarks.emplace_back("The index was made anew with the help of the sample.");
    if (walked.unshared > 0)
        report.remarks.push_back(
            "It cannot be told which track some of the sound belongs to; it was left out: " +
            std::to_string(walked.unshared) + " packets.");
    if (!walked.gaps.empty())
        report.remarks.push_back(
            "Places at which something is missing: " + std::to_string(walked.gaps.size()) +
            ". What comes after them is where it belongs as far as that can "
            "be told.");
    return report;
}

/** The sample's recording, to be filled with another one's packets. */
IsoRecording emptyLike(const SampleProfile &sample)
{
    IsoRecording recording = sample.recording;
    for (IsoTrack &track : recording.tracks) {
        track.packets.clear();
        track.missing = 0;
        // Tables and lengths are all made anew.
        track.isFragmented = true;
        track.statedMovieDuration = 0;
    }
    recording.offsetShift = 0;
    recording.lostTracks = 0;
    return recording;
}

RepairReport writeAndCheck(const SourceFile &damaged, const SampleProfile &sample,
                           IsoRecording recording, RepairReport report,
                           const std::string &outputPath)
{
    for (IsoTrack &track : recording.tracks)
        fillWithSilence(track);
    AsideFile aside(outputPath, damaged.path());
    const WrittenIso written = writeIsoIndexFirst(damaged, sample.source, recording, aside.path());
    // What has been found may be large, and FFmpeg's reader needs as much again.
    recording = {};
    checkIso(aside.path(), written);
    aside.publish();
    return report;
}

/** By the headers of fragments that stand in the media, an exact index; none where there is too
 * little of them. */
std::optional<IsoRecording> readByFragments(const SourceFile &damaged,
                                            const IsoStructure &structure,
                                            const SampleProfile &sample)
{
    if (structure.fragments.empty())
        return std::nullopt;
    IsoRecording recording = emptyLike(sample);
    readFragments(damaged, structure.fragments, sample.source, recording);
    for (IsoTrack &track : recording.tracks) {
        for (Packet &packet : track.packets)
            packet.setLost(packet.end() > damaged.size());
    }
    const double told = static_cast<double>(bytesOf(recording));
    return told >= goodPart * static_cast<double>(damaged.size())
               ? std::optional(std::move(recording))
               : std::nullopt;
}

RepairReport repairQuickly(const std::string &damagedPath, const std::string &outputPath,
                           const char *remark)
{
    RepairReport report = quickRepair(damagedPath, outputPath);
    report.remarks.emplace_back(remark);
    return report;
}

RepairReport repairWalked(const SourceFile &damaged, const SampleProfile &sample,
                          WalkedMedia walked, const std::string &outputPath)
{
    requireFittingMedia(sample, walked);
    IsoRecording recording = emptyLike(sample);
    WalkedMedia summary = {.packets = {}, .sequences = {}, .gaps = walked.gaps};
    summary.unshared = walked.unshared;
    setTimes(sample, std::move(walked), recording);
    RepairReport report = reportOf(recording, summary);
    if (auto remark = remarkOnUntoldSound(sample))
        report.remarks.push_back(std::move(*remark));
    return writeAndCheck(damaged, sample, std::move(recording), std::move(report), outputPath);
}

/** @param told bytes that the file truly tells of itself: what is found must be more */
RepairReport repairWithSample(const SourceFile &damaged, const IsoStructure &structure,
                              SampleProfile &sample, std::uint64_t told,
                              const std::string &outputPath)
{
    const std::uint64_t from = startOfMedia(damaged);
    if (auto recording = readByFragments(damaged, structure, sample)) {
        RepairReport report = reportOf(*recording, {});
        report.remarks.emplace_back("Headers of fragments in the media told where all is.");
        return writeAndCheck(damaged, sample, std::move(*recording), std::move(report), outputPath);
    }
    WalkedMedia walked = walkMedia(sample, damaged, from, damaged.size());
    if (told > 0 && told >= bytesOf(walked)) {
        walked = {};
        return repairQuickly(damaged.path(), outputPath,
                             "The file tells of as much of its media as was found with the "
                             "sample, which was not needed.");
    }
    return repairWalked(damaged, sample, std::move(walked), outputPath);
}

} // namespace

RepairReport advancedRepair(const std::string &damagedPath, const std::string &samplePath,
                            const std::string &outputPath)
{
    const SourceFile damaged(damagedPath);
    std::error_code error;
    if (std::filesystem::equivalent(pathFromUtf8(samplePath), pathFromUtf8(outputPath), error))
        throw EngineError(ErrorCode::BadRequest, "The output would be written over the sample.");
    if (auto report = repairWithHeaderOf(damaged, samplePath, outputPath))
        return std::move(*report);
    if (!mayBeIso(damaged) || mayBeMatroska(damaged) || mayBeAvi(damaged) || mayBeFlv(damaged))
        return repairQuickly(damagedPath, outputPath, sampleNotNeeded);
    std::optional<EarlyWalk> early(std::in_place, damagedPath, samplePath, startOfMedia(damaged));
    const IsoStructure structure = findStructure(damaged);
    auto told = readIso(damaged, structure);
    if (!told && structure.fragments.empty()) {
        auto [sample, walked] = early->take();
        return repairWalked(damaged, *sample, std::move(walked), outputPath);
    }
    early.reset();
    if (told &&
        static_cast<double>(bytesOf(*told)) >= goodPart * static_cast<double>(damaged.size()))
        return repairQuickly(damagedPath, outputPath, sampleNotNeeded);
    const auto sample = learnSample(samplePath);
    requireFittingPictures(*sample, damaged, startOfMedia(damaged), damaged.size());
    const std::uint64_t bytesTold = told ? bytesTruly(*sample, damaged, *told) : 0;
    told.reset();
    return repairWithSample(damaged, structure, *sample, bytesTold, outputPath);
}
