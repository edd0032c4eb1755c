#include "engine/advanced/PicturePlaces.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Pictures of a row by which it is told how many are missing before it.
constexpr std::size_t mostCompared = 24;
// Accounts that are followed at once; with more gaps than so many, only the best.
constexpr std::size_t mostAccounts = 16;
constexpr std::size_t manyRows = 20000;
// Numbers of missing pictures, turns of order counts, or sequences tried on each side of a guess.
constexpr std::int64_t reach = 2;
// What speaks against an account: squares of deviations in standard deviations, or what compares
// with them, such as doubled logarithms of how unlikely something is.
constexpr double costOfSound = 400;
constexpr double mostCostOfSound = 20;
constexpr double costOfWaiting = 2;
constexpr double costOfContradiction = 50;
constexpr double costOfStray = 20;

constexpr std::int64_t never = std::numeric_limits<std::int64_t>::min() / 4;
constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max() / 4;

/** What a row and the gap before it say, whatever is missing before them. */
struct Row
{
    std::size_t first = 0;
    std::size_t end = 0;
    /** The first and the last picture with which order counts begin anew; `end` if there is none.
     */
    std::size_t firstKey = 0;
    std::size_t lastKey = 0;
    /** Places in the order of showing, from where the order counts begin: of the first pictures,
     * of the earliest that follows each of them, and of the latest behind the last key. */
    std::vector<std::int64_t> shown;
    std::vector<std::int64_t> nextShown;
    std::int64_t latest = never;
    /** Pictures in the bytes of the gap, the variance of that, and how many a key picture takes. */
    double guess = 0;
    double variance = 1;
    double keyGuess = 0;
    /** No picture need be missing: sound can be as long as what means nothing in the gap. */
    bool mayBeSound = true;
    UnitRange sound;
    std::int64_t soundUnits = 0;
    bool hasSound = false;

    bool begins() const { return firstKey == first && first < end; }
    std::int64_t size() const { return static_cast<std::int64_t>(end - first); }
    std::int64_t keyAt() const { return static_cast<std::int64_t>(firstKey - first); }
};

/** What may be missing before a row. */
struct Hypothesis
{
    std::int64_t lost = 0;
    std::int64_t base = 0;
    /** Where the sequence of the row's first pictures began, if that is known. */
    std::optional<std::int64_t> start = {};
    /** Of other key pictures than the row's own; where they come at any time, on average. */
    double keysLost = 0;
    double cost = 0;
    /** What the row says of order is believed for nothing else. */
    bool isStray = false;
};

/** One account of what is missing up to a row, and where that leaves the recording behind it. */
struct Account
{
    double cost = 0;
    std::size_t parent = 0;
    std::int64_t lost = 0;
    std::int64_t base = 0;
    std::int64_t number = 0;
    std::int64_t lastBase = 0;
    std::optional<std::int64_t> start = 0;
    /** The last place in the order of showing that is taken in this sequence. */
    std::int64_t latest = never;
    /** Units of sound so far. */
    std::optional<double> sound = {};

    bool isLike(const Account &other) const
    {
        return number == other.number && lastBase == other.lastBase && start == other.start &&
               sound == other.sound;
    }
};

std::int64_t floorOf(double number)
{
    return static_cast<std::int64_t>(std::floor(number));
}

class Placing
{
public:
    Placing(const SampleProfile &ofSample, const WalkedMedia &ofWalk,
            std::optional<std::size_t> ofSound)
        : sample(ofSample),
          walked(ofWalk),
          rows(ofSample, ofWalk),
          pictures(ofWalk.packets[ofSample.video]),
          sound(ofSound),
          range(std::max<std::int64_t>(ofSample.orderRange / ofSample.orderStep, 1)),
          ahead(ofSample.aheadBy),
          behind(static_cast<std::int64_t>(ofSample.delayedBy))
    {
        for (std::size_t row = 1; row < rows.count(); ++row)
            starts.push_back(rows.first(sample.video, row));
        keyDistance = commonKeyDistance();
        learnOrder();
        learnSizes();
    }

    PicturePlaces run()
    {
        places.missing.assign(rows.count(), 0);
        places.base.assign(rows.count(), 0);
        std::vector<std::size_t> placed;
        std::vector<std::vector<Account>> accounts;
        std::size_t behindRow = 0;
        for (std::size_t i = 0; i < rows.count(); ++i) {
            if (rows.first(sample.video, i) == rows.end(sample.video, i))
                continue;
            const Row row = readRow(i, behindRow);
            behindRow = i;
            accounts.push_back(placed.empty() ? begin(row) : goOn(accounts.back(), row));
            placed.push_back(i);
        }
        // The best is the first.
        std::size_t best = 0;
        for (std::size_t i = placed.size(); i-- > 0;) {
            const Account &account = accounts[i][best];
            places.missing[placed[i]] = account.lost;
            places.base[placed[i]] = account.base;
            best = account.parent;
        }
        return std::move(places);
    }

private:
    bool startsRow(std::size_t picture) const
    {
        return std::binary_search(starts.begin(), starts.end(), picture);
    }

    bool hasGapWithin(std::size_t from, std::size_t to) const
    {
        const auto next = std::upper_bound(starts.begin(), starts.end(), from);
        return next != starts.end() && *next <= to;
    }

    /** The sample's distance of key pictures, if this recording has it as well; otherwise 0. */
    std::int64_t commonKeyDistance() const
    {
        for (std::size_t i = 1; i < walked.sequences.size(); ++i) {
            const std::size_t from = walked.sequences[i - 1];
            const std::size_t to = walked.sequences[i];
            if (!hasGapWithin(from, to) &&
                static_cast<std::int64_t>(to - from) != sample.keyDistance)
                return 0;
        }
        return sample.keyDistance;
    }

    std::int64_t orderOf(std::size_t picture) const
    {
        return pictures[picture].compositionOffset / sample.orderStep;
    }

    /** How far apart the orders of decoding and showing are, also where the sample's are closer. */
    void learnOrder()
    {
        for (std::size_t i = 0; sample.tellsOrder && i < walked.sequences.size(); ++i) {
            const std::size_t from = walked.sequences[i];
            const std::size_t to =
                i + 1 < walked.sequences.size() ? walked.sequences[i + 1] : pictures.size();
            const auto next = std::upper_bound(starts.begin(), starts.end(), from);
            const std::size_t end = next != starts.end() ? std::min(to, *next) : to;
            for (std::size_t picture = from; picture < end; ++picture) {
                const std::int64_t early =
                    orderOf(picture) - static_cast<std::int64_t>(picture - from);
                ahead = std::max(ahead, early);
                behind = std::max(behind, -early);
            }
        }
        // What is further apart than that is no order any more.
        constexpr std::int64_t furthest = 32;
        ahead = std::min(ahead, furthest);
        behind = std::min(behind, furthest);
    }

    void learnSizes()
    {
        double keyBytes = 0;
        hasOnlyKeys = std::all_of(pictures.begin(), pictures.end(),
                                  [](const Packet &packet) { return packet.isKey != 0; });
        for (const std::size_t key : walked.sequences)
            keyBytes += pictures[key].size;
        if (!walked.sequences.empty())
            bytesOfKey = keyBytes / static_cast<double>(walked.sequences.size());
        // Of one sequence it cannot be told how long it would have gone on.
        perSequence =
            static_cast<double>(pictures.size()) /
            (walked.sequences.size() > 1 ? static_cast<double>(walked.sequences.size()) : 1e-6);
    }

    /** Bytes near a place, on average. */
    struct Sizes
    {
        /** Of a picture that is no key picture, where there are others. */
        double picture = 0;
        /** Of what stands between two pictures. */
        double between = 0;
        /** Variance of what one picture adds to several, relative to its square. */
        double spread = 1;

        double both() const { return std::max(picture + between, 1.0); }
    };

    Sizes sizesNear(std::size_t near) const
    {
        constexpr std::size_t window = 90;
        // Sizes follow a pattern: groups of pictures differ by less than pictures do.
        constexpr double group = 8;
        double inPictures = 0;
        double between = 0;
        double count = 0;
        double inGroup = 0;
        double inGroups = 0;
        double squares = 0;
        double groups = 0;
        const std::size_t from = near - std::min(near, window);
        for (std::size_t i = from; i + 1 < std::min(near + window, pictures.size()); ++i) {
            if (startsRow(i + 1) || (pictures[i].isKey != 0 && !hasOnlyKeys) ||
                pictures[i].isLost != 0)
                continue;
            inPictures += pictures[i].size;
            between += static_cast<double>(pictures[i + 1].offset - pictures[i].end());
            inGroup += static_cast<double>(pictures[i + 1].offset - pictures[i].offset);
            if (std::fmod(++count, group) == 0) {
                inGroups += inGroup;
                squares += inGroup * inGroup;
                inGroup = 0;
                ++groups;
            }
        }
        if (count == 0)
            return {.picture = static_cast<double>(walked.walked)};
        Sizes sizes = {.picture = inPictures / count, .between = between / count};
        constexpr double fewGroups = 4;
        if (groups >= fewGroups) {
            const double mean = inGroups / groups;
            sizes.spread = (squares / groups / (mean * mean) - 1) * group;
        }
        return sizes;
    }

    /** @param behindRow the last row before it that has pictures */
    Row readRow(std::size_t number, std::size_t behindRow) const
    {
        Row row;
        row.first = rows.first(sample.video, number);
        row.end = rows.end(sample.video, number);
        readSequences(row);
        readOrder(row);
        guessByBytes(row, behindRow, number);
        if (sound) {
            row.sound = rows.besidePictures(*sound, number);
            for (std::size_t i = rows.first(*sound, number); i < rows.end(*sound, number); ++i)
                row.soundUnits += rows.unitsOf(*sound, walked.packets[*sound][i]);
            row.hasSound = row.soundUnits > 0;
        }
        return row;
    }

    void readSequences(Row &row) const
    {
        const auto &keys = walked.sequences;
        const auto from = std::lower_bound(keys.begin(), keys.end(), row.first);
        const auto to = std::lower_bound(from, keys.end(), row.end);
        row.firstKey = from != to ? *from : row.end;
        row.lastKey = from != to ? *std::prev(to) : row.end;
    }

    void readOrder(Row &row) const
    {
        const std::size_t last = std::min(row.first + mostCompared, row.firstKey);
        for (std::size_t i = row.first; i < last; ++i)
            row.shown.push_back(orderOf(i));
        row.nextShown.assign(row.shown.size(), row.firstKey < row.end ? noLimit : never);
        for (std::size_t i = row.shown.size(); i-- > 1;)
            row.nextShown[i - 1] =
                i + 1 == row.shown.size() ? row.shown[i] : std::min(row.nextShown[i], row.shown[i]);
        if (last < row.firstKey && !row.nextShown.empty())
            row.nextShown.back() = never;
        const std::size_t tail = row.lastKey < row.end ? row.lastKey : row.first;
        const std::size_t near = row.end - std::min(row.end - tail, mostCompared);
        for (std::size_t i = near; i < row.end; ++i)
            row.latest = std::max(row.latest, orderOf(i));
    }

    void guessByBytes(Row &row, std::size_t from, std::size_t to) const
    {
        const Sizes sizes = sizesNear(row.first);
        double bytes = -sizes.between;
        std::uint64_t unknown = 0;
        for (std::size_t gap = from; gap < to; ++gap) {
            bytes += static_cast<double>(walked.gaps[gap].to - walked.gaps[gap].from);
            unknown += walked.gaps[gap].unknown;
        }
        const bool isBroken = row.first > 0 && pictures[row.first - 1].isLost != 0;
        row.mayBeSound = isBroken || unknown <= 2 * sample.largestRun;
        // The rest of a picture of which only the beginning is there.
        if (isBroken) {
            const Packet &broken = pictures[row.first - 1];
            bytes -= std::max((broken.isKey != 0 ? bytesOfKey : sizes.picture) - broken.size, 0.0);
        }
        row.guess = std::max(bytes / sizes.both(), 0.0);
        constexpr double least = 1;
        constexpr double drift = 0.08;
        row.variance =
            least + row.guess * std::max(sizes.spread, 0.0) + drift * row.guess * drift * row.guess;
        row.keyGuess = std::max((bytesOfKey - sizes.picture) / sizes.both(), 0.0);
    }

    /** How many are missing, as far as order tells, if the row counts from `base`. */
    struct Lost
    {
        std::int64_t least = never;
        std::int64_t most = noLimit;
        /** It is the least, unless lost pictures are waited for. */
        bool isTold = false;
    };

    Lost lostByOrder(const Row &row, std::int64_t number, std::int64_t base,
                     std::int64_t latest) const
    {
        Lost lost;
        for (std::size_t i = 0; i < row.shown.size(); ++i) {
            const auto place = static_cast<std::int64_t>(i);
            const std::int64_t early = base + row.shown[i] - number - place;
            lost.least = std::max(lost.least, early - ahead);
            lost.most = std::min(lost.most, early + behind);
            latest = std::max(latest, base + row.shown[i]);
            if (base + row.nextShown[i] <= latest)
                continue;
            // All so far are shown before all that follow: none fewer can have been decoded, and
            // none more either, once those from the gap are no longer waited for.
            const std::int64_t exact = latest - number - place;
            lost.least = std::max(lost.least, exact);
            lost.isTold = true;
            if (place + 1 >= 2 * ahead)
                lost.most = std::min(lost.most, exact);
        }
        return lost;
    }

    std::vector<Account> begin(const Row &row) const
    {
        Hypothesis first;
        if (row.begins()) {
            first.start = 0;
        } else if (sample.tellsOrder) {
            first.base = -lostByOrder(row, 0, 0, never).least;
            if (keyDistance > 0 && row.firstKey < row.end)
                first.start = row.keyAt() - keyDistance;
        }
        return {extended({}, 0, row, first)};
    }

    std::vector<Account> goOn(const std::vector<Account> &accounts, const Row &row) const
    {
        std::vector<Account> next;
        for (std::size_t i = 0; i < accounts.size(); ++i) {
            for (const Hypothesis &hypothesis : hypothesesFor(accounts[i], row)) {
                const Account account = extended(accounts[i], i, row, hypothesis);
                const auto like =
                    std::find_if(next.begin(), next.end(), [&account](const Account &other) {
                        return account.isLike(other);
                    });
                if (like == next.end())
                    next.push_back(account);
                else if (account.cost < like->cost)
                    *like = account;
            }
        }
        std::stable_sort(next.begin(), next.end(), [](const Account &one, const Account &other) {
            return one.cost < other.cost;
        });
        // What is far behind the best will not catch up.
        const double most = next.front().cost + 2 * costOfContradiction;
        std::erase_if(next, [most](const Account &account) { return account.cost > most; });
        next.resize(std::min(next.size(), rows.count() > manyRows ? 1 : mostAccounts));
        return next;
    }

    std::vector<Hypothesis> hypothesesFor(const Account &account, const Row &row) const
    {
        std::vector<Hypothesis> found;
        if (row.begins()) {
            addAtKey(account, row, found);
        } else if (sample.tellsOrder) {
            addInSequence(account, row, found);
            if (keyDistance > 0 && account.start)
                addInLaterSequences(account, row, found);
            else
                addInAnySequence(account, row, found);
        }
        // What looks like a picture or two among damage may be none.
        constexpr std::int64_t few = 2;
        const bool mayBeStray = sample.tellsOrder && !row.begins() && row.size() <= few;
        if (found.empty() || mayBeStray) {
            const double cost = found.empty() ? 0 : costOfStray;
            forEachNear(row.guess, [&](std::int64_t lost) {
                found.push_back({.lost = lost,
                                 .base = baseOfFirst(account, row, lost),
                                 .start = account.start,
                                 .cost = cost,
                                 .isStray = mayBeStray});
            });
        }
        return found;
    }

    static std::int64_t baseOfFirst(const Account &account, const Row &row, std::int64_t lost)
    {
        return account.number + lost - (row.shown.empty() ? 0 : row.shown.front());
    }

    /** Numbers that go with a guess. */
    template <typename Visit>
    static void forEachNear(double guess, Visit visit)
    {
        constexpr std::int64_t widest = 40;
        const std::int64_t middle = std::llround(guess);
        const std::int64_t width = std::clamp<std::int64_t>(middle / 2, 2 * reach, widest);
        for (std::int64_t lost = std::max<std::int64_t>(middle - width, 0); lost <= middle + width;
             ++lost)
            visit(lost);
    }

    /** Key pictures among so many, where these come at any time. */
    double keysIn(std::int64_t count) const { return static_cast<double>(count) / perSequence; }

    /** Pictures in the bytes of a gap, with key pictures among them. */
    double guessWithKeys(const Row &row) const
    {
        return row.guess / (1 + row.keyGuess / perSequence);
    }

    /** The row begins with a key picture. */
    void addAtKey(const Account &account, const Row &row, std::vector<Hypothesis> &found) const
    {
        const auto add = [&](std::int64_t lost, double keysLost) {
            const std::int64_t place = account.number + lost;
            // All before it are shown before it.
            if (lost >= 0 && (!sample.tellsOrder || place > account.latest))
                found.push_back(
                    {.lost = lost, .base = place, .start = place, .keysLost = keysLost});
        };
        if (keyDistance == 0 || !account.start) {
            forEachNear(guessWithKeys(row), [&](std::int64_t lost) { add(lost, keysIn(lost)); });
            return;
        }
        const auto done = static_cast<double>(account.number - *account.start);
        const auto turn = floorOf((done + row.guess) / static_cast<double>(keyDistance));
        for (std::int64_t i = std::max<std::int64_t>(turn - reach, 1); i <= turn + reach; ++i)
            add(*account.start + i * keyDistance - account.number, static_cast<double>(i - 1));
    }

    /** Order counts go on. */
    void addInSequence(const Account &account, const Row &row, std::vector<Hypothesis> &found) const
    {
        const double place = static_cast<double>(account.number) + row.guess -
                             static_cast<double>(account.lastBase + row.shown.front());
        const std::int64_t turns = std::llround(place / static_cast<double>(range));
        for (std::int64_t i = turns - reach; i <= turns + reach; ++i) {
            const Hypothesis one = {.base = account.lastBase + i * range, .start = account.start};
            addPlaces(account, row, one, account.latest, found);
        }
    }

    /** Key pictures are lost, of which it is known where they stood. */
    void addInLaterSequences(const Account &account, const Row &row,
                             std::vector<Hypothesis> &found) const
    {
        const std::int64_t earliest = *std::min_element(row.shown.begin(), row.shown.end());
        const auto place = static_cast<double>(account.number) + row.guess;
        const auto last = floorOf((place - static_cast<double>(*account.start)) /
                                  static_cast<double>(keyDistance));
        for (std::int64_t i = std::max<std::int64_t>(last - reach, 1); i <= last + reach; ++i) {
            const std::int64_t start = *account.start + i * keyDistance;
            // The first turn of the order counts at which none of them is below 0.
            const std::int64_t least =
                -floorOf(static_cast<double>(earliest) / static_cast<double>(range));
            const std::int64_t usual =
                std::llround((place - static_cast<double>(start + row.shown.front())) /
                             static_cast<double>(range));
            for (std::int64_t turn = std::max(least, usual - reach);
                 turn <= std::max(least, usual + reach); ++turn) {
                const Hypothesis one = {.base = start + turn * range,
                                        .start = start,
                                        .keysLost = static_cast<double>(i)};
                addPlaces(account, row, one, never, found);
            }
        }
    }

    /** Key pictures may be lost, and nothing is known of where they stood. */
    void addInAnySequence(const Account &account, const Row &row,
                          std::vector<Hypothesis> &found) const
    {
        const Lost atZero = lostByOrder(row, account.number, 0, never);
        const std::int64_t first = row.shown.front();
        const std::int64_t earliest = *std::min_element(row.shown.begin(), row.shown.end());
        // The key picture is one of those that are missing: its sequence is not long yet.
        const std::int64_t place =
            first - floorOf(static_cast<double>(first) / static_cast<double>(range)) * range;
        const double guess = std::max(std::min(row.guess - row.keyGuess, guessWithKeys(row)), 0.0);
        forEachNear(guess, [&](std::int64_t lost) {
            const std::int64_t base = lost - atZero.least;
            if (lost < std::max<std::int64_t>(place - ahead, 1) ||
                base + earliest <= account.latest)
                return;
            const auto count = static_cast<double>(lost);
            const double cost = 2 * (std::log(count) - std::log(-std::expm1(-count / perSequence)));
            Hypothesis one = {.lost = lost,
                              .base = base,
                              .start = {},
                              .keysLost = std::max(keysIn(lost), 1.0),
                              .cost = cost};
            if (lost + ahead < range)
                one.start = base + first - place;
            found.push_back(one);
        });
    }

    /** All numbers of missing pictures that order allows with what is supposed otherwise. */
    void addPlaces(const Account &account, const Row &row, Hypothesis one, std::int64_t latest,
                   std::vector<Hypothesis> &found) const
    {
        if (keyDistance > 0 && one.start) {
            const auto [first, last] = std::minmax_element(row.shown.begin(), row.shown.end());
            if (one.base + *first < *one.start || one.base + *last >= *one.start + keyDistance)
                return;
        }
        const Lost lost = lostByOrder(row, account.number, one.base, latest);
        const std::int64_t least = std::max<std::int64_t>(lost.least, 0);
        const std::int64_t guess =
            std::max(std::min<std::int64_t>(std::llround(row.guess), lost.most), least);
        for (std::int64_t i = std::max(least, guess - 2 * reach);
             i <= std::min(lost.most, guess + 2 * reach); ++i) {
            one.lost = i;
            one.cost = lost.isTold ? costOfWaiting * static_cast<double>(i - lost.least) : 0;
            // Where key pictures come at any time, they are less likely to stay away for longer.
            if (keyDistance == 0)
                one.cost += 2 * static_cast<double>(i) / perSequence;
            found.push_back(one);
        }
    }

    Account extended(const Account &before, std::size_t parent, const Row &row,
                     const Hypothesis &hypothesis) const
    {
        Account account = {.cost = before.cost + hypothesis.cost,
                           .parent = parent,
                           .lost = hypothesis.lost,
                           .base = hypothesis.base};
        const std::int64_t first = before.number + hypothesis.lost;
        account.number = first + row.size();
        if (hypothesis.isStray) {
            account.lastBase = before.lastBase;
            account.start = before.start;
            account.latest = before.latest;
        } else if (row.lastKey < row.end) {
            account.lastBase = first + static_cast<std::int64_t>(row.lastKey - row.first);
            account.start = account.lastBase;
            account.latest = account.lastBase + row.latest;
        } else {
            account.lastBase = hypothesis.base;
            account.start = hypothesis.start;
            account.latest = std::max(account.lastBase + row.latest,
                                      hypothesis.keysLost == 0.0 ? before.latest : never);
        }
        if (keyDistance > 0 && hypothesis.start && row.firstKey < row.end && !row.begins() &&
            first + row.keyAt() != *hypothesis.start + keyDistance)
            account.cost += costOfContradiction;
        if (row.first > 0) {
            const double guess = std::max(row.guess - hypothesis.keysLost * row.keyGuess, 0.0);
            const double deviation = static_cast<double>(hypothesis.lost) - guess;
            account.cost += deviation * deviation / row.variance;
            if (hypothesis.lost == 0 && !row.mayBeSound)
                account.cost += costOfContradiction;
        }
        addSound(before, row, first, account);
        return account;
    }

    void addSound(const Account &before, const Row &row, std::int64_t first, Account &account) const
    {
        account.sound = before.sound;
        if (!row.hasSound)
            return;
        const UnitRange time =
            row.sound.movedBy(static_cast<double>(first) * rows.unitsPerPicture(*sound));
        double begins = before.sound.value_or(time.beginning());
        if (before.sound && row.sound.isKnown) {
            const std::int64_t grain = sample.tracks[*sound].grain;
            const UnitRange lost = time.movedBy(-begins);
            account.cost += std::min(costOfSound * lost.distance(grain), mostCostOfSound);
            begins += static_cast<double>(lost.multiple(grain));
        }
        account.sound = begins + static_cast<double>(row.soundUnits);
    }

    const SampleProfile &sample;
    const WalkedMedia &walked;
    MediaRows rows;
    const std::vector<Packet> &pictures;
    std::optional<std::size_t> sound;
    /** Order counts that are told apart, and how far showing is from decoding: in pictures. */
    std::int64_t range;
    std::int64_t ahead;
    std::int64_t behind;
    std::int64_t keyDistance = 0;
    double bytesOfKey = 0;
    bool hasOnlyKeys = false;
    /** Pictures, on average. */
    double perSequence = 0;
    /** The first pictures behind gaps. */
    std::vector<std::size_t> starts;
    PicturePlaces places;
};

} // namespace

PicturePlaces placePictures(const SampleProfile &sample, const WalkedMedia &walked,
                            std::optional<std::size_t> sound)
{
    return Placing(sample, walked, sound).run();
}
