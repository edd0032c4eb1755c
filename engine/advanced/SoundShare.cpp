#include "engine/advanced/SoundShare.h"

#include <algorithm>

SoundShare::SoundShare(std::vector<std::size_t> ofTracks, const std::vector<Parts> &runs)
    : tracks(std::move(ofTracks))
{
    if (tracks.size() == 1) {
        kind = Kind::Single;
    } else if (tracks.size() > 1) {
        // A turn of each between any two pictures: turns may then be of any length.
        const bool hasTurns = isAlternating(runs);
        kind = isEven(runs) ? Kind::Even : hasTurns ? Kind::Alternating : Kind::Unclear;
        if (!hasTurns)
            unitsPerTurn = 0;
    }
}

bool SoundShare::isAlternating(const std::vector<Parts> &runs)
{
    unitsPerTurn = 0;
    for (const Parts &run : runs) {
        const bool isLast = &run == &runs.back();
        if (run.size() % tracks.size() != 0 && !isLast)
            return false;
        for (std::size_t i = 0; i < run.size(); ++i) {
            if (unitsPerTurn == 0)
                unitsPerTurn = run[i].units;
            const bool isShort = isLast && run[i].units < unitsPerTurn;
            if (run[i].track != tracks[i % tracks.size()] ||
                (run[i].units != unitsPerTurn && !isShort))
                return false;
        }
    }
    return unitsPerTurn > 0;
}

bool SoundShare::isEven(const std::vector<Parts> &runs) const
{
    bool hasRuns = false;
    for (const Parts &run : runs) {
        // The recording ends somewhere within the last.
        if (&run == &runs.back() && hasRuns)
            break;
        if (run.size() != tracks.size())
            return false;
        for (std::size_t i = 0; i < run.size(); ++i) {
            if (run[i].track != tracks[i] || run[i].units != run[0].units)
                return false;
        }
        hasRuns = true;
    }
    return hasRuns;
}

std::optional<SoundShare::Parts> SoundShare::share(std::uint64_t units, bool isWhole) const
{
    Parts parts;
    switch (kind) {
    case Kind::Single:
        parts.push_back({tracks[0], units});
        return parts;
    case Kind::Alternating:
        return isWhole && units % (unitsPerTurn * tracks.size()) != 0
                   ? std::nullopt
                   : std::optional(turnsOf(units));
    case Kind::Even:
        if (!isWhole)
            return unitsPerTurn > 0 ? std::optional(turnsOf(units)) : std::nullopt;
        if (units % tracks.size() != 0)
            return std::nullopt;
        for (const std::size_t track : tracks)
            parts.push_back({track, units / tracks.size()});
        return parts;
    case Kind::Unclear:
        break;
    }
    return std::nullopt;
}

SoundShare::Parts SoundShare::turnsOf(std::uint64_t units) const
{
    Parts parts;
    for (std::size_t turn = 0; units > 0; ++turn) {
        const std::uint64_t some = std::min(units, unitsPerTurn);
        parts.push_back({tracks[turn % tracks.size()], some});
        units -= some;
    }
    return parts;
}
