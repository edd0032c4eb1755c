#include "tests/corpus/Score.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <optional>
#include <unordered_map>

namespace {

using Packets = std::vector<Contents::Packet>;

/** How many packets two streams have in common. */
std::int64_t commonPackets(const Packets &one, const Packets &other)
{
    std::unordered_map<std::uint64_t, std::int64_t> counts;
    for (const Contents::Packet &packet : one)
        ++counts[packet.hash];
    return std::count_if(other.begin(), other.end(), [&counts](const Contents::Packet &packet) {
        const auto found = counts.find(packet.hash);
        return found != counts.end() && found->second-- > 0;
    });
}

/** The original's stream that each of the output's is, if any; none is taken twice. */
std::vector<std::optional<std::size_t>> matchStreams(const Contents &original,
                                                     const Contents &output)
{
    std::vector<std::optional<std::size_t>> matches(output.streams.size());
    std::multimap<std::int64_t, std::pair<std::size_t, std::size_t>, std::greater<>> candidates;
    for (std::size_t i = 0; i < output.streams.size(); ++i) {
        for (std::size_t j = 0; j < original.streams.size(); ++j) {
            const std::int64_t common =
                commonPackets(original.streams[j].packets, output.streams[i].packets);
            if (common > 0 && original.streams[j].kind == output.streams[i].kind)
                candidates.emplace(common, std::pair(i, j));
        }
    }
    std::vector<bool> isTaken(original.streams.size());
    for (const auto &[common, pair] : candidates) {
        if (!matches[pair.first] && !isTaken[pair.second]) {
            matches[pair.first] = pair.second;
            isTaken[pair.second] = true;
        }
    }
    return matches;
}

/** Which of the original's packets each of the output's is. */
std::vector<std::optional<std::size_t>> matchPackets(const Packets &original, const Packets &output)
{
    std::unordered_map<std::uint64_t, std::deque<std::size_t>> places;
    for (std::size_t i = 0; i < original.size(); ++i)
        places[original[i].hash].push_back(i);
    std::vector<std::optional<std::size_t>> matches(output.size());
    std::size_t next = 0;
    for (std::size_t i = 0; i < output.size(); ++i) {
        const auto found = places.find(output[i].hash);
        if (found == places.end() || found->second.empty())
            continue;
        auto &candidates = found->second;
        // Equal packets: the one that comes next in the original, if there is one.
        auto chosen = std::lower_bound(candidates.begin(), candidates.end(), next);
        if (chosen == candidates.end())
            chosen = candidates.begin();
        matches[i] = *chosen;
        next = std::max(next, *chosen + 1);
        candidates.erase(chosen);
    }
    return matches;
}

/** Which packets came through the damage whole. */
std::vector<bool> wholePackets(const Contents &contents, const Packets &packets,
                               const DamagedFile &damaged)
{
    std::vector<bool> isWhole(packets.size());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Contents::Packet &packet = packets[i];
        std::int64_t size = packet.size;
        if (contents.isInterleaved) {
            // Its pieces lie before the next that begins a place of its own.
            const auto next = std::find_if(
                packets.begin() + static_cast<std::ptrdiff_t>(i) + 1, packets.end(),
                [&](const Contents::Packet &other) { return other.place > packet.place; });
            size = next != packets.end() ? next->place - packet.place : -1;
        }
        isWhole[i] = packet.place >= 0 && size >= 0 && damaged.survives(packet.place, size);
    }
    return isWhole;
}

class Scoring
{
public:
    Scoring(const Contents &ofOriginal, const DamagedFile &ofDamage, const Contents &ofOutput)
        : original(ofOriginal),
          damaged(ofDamage),
          output(ofOutput),
          streams(matchStreams(ofOriginal, ofOutput))
    {
    }

    Score run()
    {
        std::vector<bool> isFound(original.streams.size());
        for (const bool isReference : {true, false}) {
            for (std::size_t i = 0; i < streams.size(); ++i) {
                const bool isVideo = output.streams[i].kind == 'v';
                if (isVideo != isReference)
                    continue;
                if (!streams[i]) {
                    score.wrong += static_cast<std::int64_t>(output.streams[i].packets.size());
                    continue;
                }
                isFound[*streams[i]] = true;
                compare(*streams[i], output.streams[i].packets);
            }
        }
        for (std::size_t i = 0; i < isFound.size(); ++i) {
            if (!isFound[i])
                compare(i, {});
        }
        compareSound();
        return score;
    }

private:
    /** Both may be late after a gap; but then equally. */
    void compareSound()
    {
        constexpr double beside = 0.2;
        for (const auto &[time, error] : soundErrors) {
            // At a gap, sound belongs to the picture on its own side.
            std::optional<double> least;
            const auto hold = [&, ofSound = error, now = time](const auto &picture) {
                if (std::abs(picture.first - now) < beside)
                    least = std::min(least.value_or(1e9), std::abs(ofSound - picture.second));
            };
            const auto next = pictureErrors.lower_bound(time);
            if (next != pictureErrors.end())
                hold(*next);
            if (next != pictureErrors.begin())
                hold(*std::prev(next));
            score.soundError = std::max(score.soundError, least.value_or(0));
        }
    }

    void compare(std::size_t stream, const Packets &found)
    {
        const Packets &expected = original.streams[stream].packets;
        const auto matches = matchPackets(expected, found);
        auto isWhole = wholePackets(original, expected, damaged);
        if (!damaged.tellsOfTrack(stream))
            isWhole.assign(isWhole.size(), false);
        const auto recoverable = std::count(isWhole.begin(), isWhole.end(), true);
        const char kind = original.streams[stream].kind;
        score.recoverable += recoverable;
        score.recoverableOf[kind] += recoverable;
        std::size_t next = 0;
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (!matches[i]) {
                score.wrong += found[i].isSilence ? 0 : 1;
                continue;
            }
            const std::size_t index = *matches[i];
            ++score.matched;
            score.recovered += isWhole[index] ? 1 : 0;
            score.recoveredOf[kind] += isWhole[index] ? 1 : 0;
            score.misplaced += index < next ? 1 : 0;
            next = std::max(next, index + 1);
            compareTimes(expected[index], found[i], original.streams[stream].kind == 'v');
        }
    }

    void compareTimes(const Contents::Packet &expected, const Contents::Packet &found,
                      bool isReference)
    {
        // Where a container only says when packets are decoded, that is compared.
        const bool isShown = !std::isnan(expected.shown) && !std::isnan(found.shown);
        const double difference =
            isShown ? found.shown - expected.shown : found.decoded - expected.decoded;
        if (std::isnan(difference)) {
            ++score.mistimed;
            return;
        }
        (isReference ? pictureErrors : soundErrors).emplace(expected.shown, difference);
        // A recording may begin at another time, but then all of it does.
        if (!origin)
            origin = difference;
        const double error = std::abs(difference - *origin);
        score.timeError = std::max(score.timeError, error);
        score.mistimed += error > Score::timeTolerance ? 1 : 0;
    }

    const Contents &original;
    const DamagedFile &damaged;
    const Contents &output;
    std::vector<std::optional<std::size_t>> streams;
    std::optional<double> origin;
    /** By when packets were shown. */
    std::map<double, double> pictureErrors;
    std::map<double, double> soundErrors;
    Score score;
};

} // namespace

Score scoreOf(const Contents &original, const DamagedFile &damaged, const Contents &output)
{
    return Scoring(original, damaged, output).run();
}
