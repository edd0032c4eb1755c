#include "engine/recording/RepairReport.h"

#include <algorithm>

std::int64_t RepairReport::kept() const
{
    std::int64_t sum = 0;
    for (const TrackReport &track : tracks)
        sum += track.kept;
    return sum;
}

std::int64_t RepairReport::lost() const
{
    std::int64_t sum = 0;
    for (const TrackReport &track : tracks)
        sum += track.lost();
    return sum;
}

std::string sentenceOf(const RepairReport &report)
{
    std::string text = "The video has been repaired: " + std::to_string(report.kept()) +
                       " packets kept, " + std::to_string(report.lost()) +
                       " unusable ones left out.";
    if (report.streamsLeftOut > 0)
        text += " Streams that are missing now, because too little is left of them or their "
                "container cannot hold them: " +
                std::to_string(report.streamsLeftOut) + ".";
    for (const std::string &remark : report.remarks)
        text += " " + remark;
    return text;
}

TrackReport reportOf(const Track &track)
{
    TrackReport report = {.kind = track.kind, .codec = track.codec, .found = track.found()};
    const auto seconds = [&track](std::int64_t time) {
        return static_cast<double>(time) / static_cast<double>(track.timescale);
    };
    const auto isLost = [](const Packet &packet) { return packet.isLost != 0; };
    for (auto packet = track.packets.begin(); packet != track.packets.end();) {
        if (!isLost(*packet)) {
            ++report.kept;
            ++packet;
            continue;
        }
        const auto next = std::find_if_not(packet, track.packets.end(), isLost);
        const std::int64_t end = next != track.packets.end()
                                     ? next->time
                                     : track.packets.back().time + track.lastDuration;
        // Those beyond are counted as lost packets all the same.
        if (report.gaps.size() < TrackReport::mostGaps)
            report.gaps.push_back({.from = seconds(packet->time), .to = seconds(end)});
        packet = next;
    }
    return report;
}
