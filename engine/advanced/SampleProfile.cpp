#include "engine/advanced/SampleProfile.h"

#include "engine/EngineError.h"
#include "engine/advanced/IntraRecogniser.h"
#include "engine/advanced/NalRecogniser.h"
#include "engine/advanced/PictureOrder.h"
#include "engine/iso/IsoReader.h"
#include "engine/log/LogLine.h"
#include "engine/recording/PacketOrder.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

namespace {

// Packets of a track that are looked into; of more, only the sizes and times count.
constexpr std::size_t mostPackets = 1500;

EngineError notUsable(const std::string &why)
{
    return {ErrorCode::SampleNotUsable, "The sample cannot be used: " + why};
}

constexpr FourCc sizedPictures[] = {fourCc("apch"), fourCc("apcn"), fourCc("apcs"),
                                    fourCc("apco"), fourCc("ap4h"), fourCc("ap4x")};
constexpr FourCc jpegPictures[] = {fourCc("jpeg"), fourCc("mjpa"), fourCc("mjpg")};

template <std::size_t Size>
bool isOneOf(const FourCc (&types)[Size], FourCc type)
{
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

class Learning
{
public:
    explicit Learning(const std::string &path) : sample(std::make_unique<SampleProfile>(path)) {}

    std::unique_ptr<SampleProfile> run()
    {
        auto recording = readIso(sample->source);
        if (!recording)
            throw notUsable("it is no playable MP4 or QuickTime file.");
        sample->recording = std::move(*recording);
        openWithFfmpeg();
        sample->tracks.resize(sample->recording.tracks.size());
        chooseVideo();
        for (std::size_t i = 0; i < sample->tracks.size(); ++i)
            learnTrack(i);
        if (sample->has(Coding::Plain) && (sample->has(Coding::Aac) || sample->hasUntoldSound()))
            throw EngineError(ErrorCode::NotAvailable,
                              "Recordings with both plain and compressed sound cannot be "
                              "recovered with a sample yet.");
        learnInterleave();
        learnOrder();
        learnVariableRate();
        learnLeading();
        for (std::size_t i = 0; i < sample->tracks.size(); ++i) {
            if (i != sample->video)
                learnLead(i);
        }
        for (std::size_t i = 0; i < sample->tracks.size(); ++i)
            sample->plainGrain += static_cast<std::uint64_t>(sample->tracks[i].grain) *
                                  sample->recording.tracks[i].uniformSize;
        for (IsoTrack &track : sample->recording.tracks)
            track.packets = {};
        return std::move(sample);
    }

private:
    void openWithFfmpeg()
    {
        AVDictionary *options = nullptr;
        av_dict_set(&options, "protocol_whitelist", "file", 0);
        av_dict_set(&options, "format_whitelist", "mov,mp4,m4a,3gp,3g2,mj2", 0);
        AVFormatContext *opened = nullptr;
        const int result = avformat_open_input(
            &opened, Ffmpeg::fileUrl(sample->source.path()).c_str(), nullptr, &options);
        av_dict_free(&options);
        if (result < 0)
            throw notUsable("it is no playable MP4 or QuickTime file.");
        sample->input.reset(opened);
    }

    void chooseVideo()
    {
        const auto &tracks = sample->recording.tracks;
        std::size_t best = tracks.size();
        std::uint64_t most = 0;
        for (std::size_t i = 0; i < tracks.size(); ++i) {
            if (tracks[i].kind != TrackKind::Video)
                continue;
            std::uint64_t bytes = 0;
            for (const Packet &packet : tracks[i].packets)
                bytes += packet.size;
            if (bytes > most)
                best = i;
            most = std::max(most, bytes);
        }
        if (best == tracks.size())
            throw notUsable("there is no video in it.");
        sample->video = best;
        makeRecogniser(tracks[best]);
    }

    void makeRecogniser(const IsoTrack &track)
    {
        const AVStream *stream = streamOf(*sample, sample->video);
        if (stream == nullptr)
            throw notUsable("its video cannot be read.");
        const AVCodecParameters &parameters = *stream->codecpar;
        constexpr unsigned leastWidth = 3;
        if (track.nalLengthSize >= leastWidth && parameters.extradata_size > 0)
            sample->pictures = std::make_unique<NalRecogniser>(
                track.isHevc, track.nalLengthSize,
                ByteView(parameters.extradata,
                         static_cast<std::size_t>(parameters.extradata_size)));
        else if (isOneOf(jpegPictures, track.codecType))
            sample->pictures = std::make_unique<JpegRecogniser>();
        else if (isOneOf(sizedPictures, track.codecType))
            sample->pictures = std::make_unique<SizedPictureRecogniser>();
        else
            throw EngineError(
                ErrorCode::NotAvailable,
                "Video of this kind cannot be recovered with a sample yet: " + track.codec + ".");
    }

    void learnTrack(std::size_t index)
    {
        const IsoTrack &track = sample->recording.tracks[index];
        TrackProfile &profile = sample->tracks[index];
        learnSizes(track, profile);
        if (index == sample->video) {
            profile.coding = Coding::Video;
            const auto key = std::find_if(track.packets.begin(), track.packets.end(),
                                          [](const Packet &packet) { return packet.isKey != 0; });
            if (key != track.packets.end())
                sample->keyPicture = sample->source.copy(key->offset, key->size);
            forEachPacket(track, [this](ByteView bytes) {
                if (!sample->pictures->learn(bytes))
                    throw EngineError(ErrorCode::NotAvailable,
                                      "The sample's pictures are stored in a way that cannot be "
                                      "recovered yet.");
            });
        } else if (track.isAac) {
            learnAac(index, profile);
        } else if (track.uniformSize > 0) {
            profile.coding = Coding::Plain;
            profile.duration = track.uniformDuration;
            sample->plainFrame += track.uniformSize;
        } else {
            for (const Packet &packet : track.packets)
                profile.framing.learn(
                    sample->source.view(packet.offset,
                                        std::min<std::size_t>(packet.size, DataFraming::startSize)),
                    packet.size);
            profile.framing.settle();
            profile.isUntold = track.kind == TrackKind::Audio && profile.framing.fixed() == 0 &&
                               !profile.framing.isDistinct();
        }
    }

    static void learnSizes(const IsoTrack &track, TrackProfile &profile)
    {
        std::map<std::int64_t, std::size_t> durations;
        for (std::size_t i = 0; i < track.packets.size(); ++i) {
            const Packet &packet = track.packets[i];
            profile.largest = std::max(profile.largest, packet.size);
            profile.smallest =
                i == 0 ? packet.size : std::min<std::uint32_t>(profile.smallest, packet.size);
            if (i + 1 < track.packets.size())
                ++durations[track.packets[i + 1].time - packet.time];
        }
        profile.duration = track.lastDuration;
        std::size_t most = 0;
        for (const auto &[duration, count] : durations) {
            if (count > most)
                profile.duration = duration;
            most = std::max(most, count);
        }
        // A second duration of a track that runs even is a rounded one.
        profile.isVariable = most + 2 + track.packets.size() / 50 < track.packets.size();
    }

    void learnAac(std::size_t index, TrackProfile &profile)
    {
        const AVStream *stream = streamOf(*sample, index);
        if (stream == nullptr)
            throw notUsable("its sound cannot be read.");
        profile.coding = Coding::Aac;
        if (!sample->aac)
            sample->aac = std::make_unique<AacFrames>(*stream->codecpar);
        std::size_t wrong = 0;
        std::size_t all = 0;
        forEachPacket(sample->recording.tracks[index], [&](ByteView bytes) {
            ++all;
            wrong += sample->aac->learn(bytes) ? 0U : 1U;
        });
        // Tracks that differ in their parameters need a decoder each.
        constexpr std::size_t tolerated = 20;
        if (wrong * tolerated > all)
            throw EngineError(ErrorCode::NotAvailable,
                              "The sample's tracks of sound differ in a way that recovery cannot "
                              "tell apart yet.");
    }

    template <typename Visit>
    void forEachPacket(const IsoTrack &track, Visit visit)
    {
        const std::size_t count = std::min(track.packets.size(), mostPackets);
        if (count == 0)
            throw notUsable("a track of it is empty.");
        for (std::size_t i = 0; i < count; ++i) {
            const Packet &packet = track.packets[i];
            if (packet.isLost != 0 || packet.size == 0)
                continue;
            const Bytes bytes = sample->source.copy(packet.offset, packet.size);
            visit(ByteView(bytes));
        }
    }

    /** What stands between pictures. */
    void learnInterleave()
    {
        std::vector<Track *> tracks;
        std::vector<std::size_t> soundTracks;
        for (std::size_t i = 0; i < sample->tracks.size(); ++i) {
            tracks.push_back(&sample->recording.tracks[i]);
            if (sample->tracks[i].coding == Coding::Aac ||
                sample->tracks[i].coding == Coding::Plain)
                soundTracks.push_back(i);
        }
        std::vector<SoundShare::Parts> runs;
        SoundShare::Parts run;
        std::uint64_t bytes = 0;
        std::uint64_t end = 0;
        std::uint64_t aligned = 1;
        PacketOrder order(tracks);
        std::size_t pictures = 0;
        const auto finishRun = [&] {
            sample->largestRun = std::max(sample->largestRun, bytes);
            // Before the first there may be none.
            if (pictures++ == 1)
                sample->leastPlain = bytes;
            else
                sample->leastPlain = std::min(sample->leastPlain, bytes);
            if (!run.empty())
                runs.push_back(std::exchange(run, {}));
            bytes = 0;
        };
        for (auto entry = order.next(); entry.packet != nullptr; entry = order.next()) {
            const Packet &packet = *entry.packet;
            if (end > 0 && packet.offset > end) {
                aligned = sample->hasPadding ? aligned | packet.offset : packet.offset;
                sample->hasPadding = true;
                bytes += packet.offset - end;
            }
            end = packet.end();
            if (entry.track == sample->video) {
                finishRun();
                continue;
            }
            bytes += packet.size;
            addToRun(run, entry.track, packet);
        }
        if (aligned != 0)
            sample->alignment = aligned & (~aligned + 1);
        // Behind the last there may be more.
        pictures = 2;
        bytes = std::max(bytes, sample->leastPlain);
        finishRun();
        if (sample->plainFrame > 0)
            sample->leastPlain -= sample->leastPlain % sample->plainFrame;
        if (!soundTracks.empty())
            sample->share = std::make_unique<SoundShare>(std::move(soundTracks), runs);
    }

    void addToRun(SoundShare::Parts &run, std::size_t track, const Packet &packet) const
    {
        const Coding coding = sample->tracks[track].coding;
        if (coding == Coding::Data)
            return;
        const std::uint64_t units =
            coding == Coding::Plain ? packet.size / sample->recording.tracks[track].uniformSize : 1;
        if (!run.empty() && run.back().track == track)
            run.back().units += units;
        else
            run.push_back({track, units});
    }

    /** How order counts go with the times at which pictures are shown. */
    void learnOrder()
    {
        const auto *units = dynamic_cast<const NalRecogniser *>(sample->pictures.get());
        const IsoTrack &track = sample->recording.tracks[sample->video];
        const std::int64_t duration = sample->tracks[sample->video].duration;
        if (units == nullptr || track.packets.empty() || duration <= 0)
            return;
        sample->orderDelay = track.packets[0].compositionOffset;
        while (sample->delayedBy + 1 < track.packets.size() &&
               track.packets[sample->delayedBy].time - track.packets[0].time < sample->orderDelay)
            ++sample->delayedBy;
        std::vector<std::int32_t> orders;
        std::vector<std::size_t> starts;
        PictureOrder order;
        MediaWindow window(sample->source);
        const std::size_t count = std::min(track.packets.size(), mostPackets);
        for (std::size_t i = 0; i < count; ++i) {
            const auto picture = units->pictureAt(window, track.packets[i].offset);
            if (!picture || picture->size != track.packets[i].size)
                throw EngineError(ErrorCode::NotAvailable,
                                  "The sample's pictures are stored in a way that cannot be "
                                  "recovered yet.");
            if (picture->slice.beginsSequence || i == 0)
                starts.push_back(i);
            orders.push_back(order.next(picture->slice));
            sample->orderRange = std::int64_t{1} << picture->slice.orderWidth;
        }
        std::vector<std::int32_t> sorted = orders;
        std::sort(sorted.begin(), sorted.end());
        sample->orderStep = 0;
        for (std::size_t i = 1; i < sorted.size(); ++i) {
            const std::int64_t step = sorted[i] - sorted[i - 1];
            if (step > 0 && (sample->orderStep == 0 || step < sample->orderStep))
                sample->orderStep = step;
        }
        sample->orderStep = std::max<std::int64_t>(sample->orderStep, 1);
        sample->tellsOrder = agreesWithIndex(track, orders, starts);
        learnKeyDistance(starts);
        logLine(TarnLogInfo, "order of pictures: step " + std::to_string(sample->orderStep) +
                                 ", delay " + std::to_string(sample->orderDelay) +
                                 (sample->tellsOrder ? ", exact" : ", not told"));
    }

    void learnKeyDistance(const std::vector<std::size_t> &starts)
    {
        for (std::size_t i = 1; i < starts.size(); ++i) {
            const auto distance = static_cast<std::int64_t>(starts[i] - starts[i - 1]);
            if (i > 1 && distance != sample->keyDistance) {
                sample->keyDistance = 0;
                return;
            }
            sample->keyDistance = distance;
        }
    }

    /** How a track's packets stand beside the pictures, as long as there are both. */
    void learnLead(std::size_t index)
    {
        const IsoTrack &track = sample->recording.tracks[index];
        const IsoTrack &video = sample->recording.tracks[sample->video];
        TrackProfile &profile = sample->tracks[index];
        std::size_t next = 0;
        std::int64_t grain = 0;
        for (const Packet &packet : track.packets) {
            if (&packet != &track.packets.back() && track.uniformSize > 0)
                grain = std::gcd(grain, std::int64_t{packet.size / track.uniformSize});
            while (next < video.packets.size() && video.packets[next].offset < packet.offset)
                ++next;
            if (next >= video.packets.size())
                continue;
            const auto number = static_cast<std::size_t>(&packet - track.packets.data());
            profile.lead.take(secondsOf(track, endOf(index, number)) -
                              secondsOf(video, video.packets[next].time));
        }
        profile.grain = std::max<std::int64_t>(grain, 1);
    }

    /** When a packet ends, in the track's units. */
    std::int64_t endOf(std::size_t index, std::size_t number) const
    {
        const IsoTrack &track = sample->recording.tracks[index];
        const Packet &packet = track.packets[number];
        const std::int64_t units = track.uniformSize > 0 ? packet.size / track.uniformSize : 1;
        return packet.time + units * sample->tracks[index].duration;
    }

    static double secondsOf(const IsoTrack &track, std::int64_t time)
    {
        return static_cast<double>(time) / static_cast<double>(track.timescale);
    }

    /** How pictures whose rate changes stand beside the sound, which tells their times. */
    void learnVariableRate()
    {
        const IsoTrack &video = sample->recording.tracks[sample->video];
        const auto sound = std::find_if(
            sample->tracks.begin(), sample->tracks.end(), [](const TrackProfile &track) {
                return track.coding == Coding::Aac || track.coding == Coding::Plain;
            });
        if (!sample->tracks[sample->video].isVariable || sound == sample->tracks.end())
            return;
        const auto index = static_cast<std::size_t>(sound - sample->tracks.begin());
        const IsoTrack &track = sample->recording.tracks[index];
        std::size_t next = 0;
        std::int64_t tick = 0;
        for (const Packet &packet : video.packets) {
            tick = std::gcd(tick, packet.time);
            while (next < track.packets.size() && track.packets[next].offset < packet.offset)
                ++next;
            if (next > 0)
                sample->pictureAfterSound.take(secondsOf(video, packet.time) -
                                               secondsOf(track, endOf(index, next - 1)));
            if (next < track.packets.size())
                sample->pictureBeforeSound.take(secondsOf(video, packet.time) -
                                                secondsOf(track, track.packets[next].time));
        }
        sample->tick = std::max<std::int64_t>(tick, 1);
    }

    /** Data that is written once, before the first picture and the first sound. */
    void learnLeading()
    {
        std::uint64_t first = sample->source.size();
        for (std::size_t i = 0; i < sample->tracks.size(); ++i) {
            const auto &packets = sample->recording.tracks[i].packets;
            if (sample->tracks[i].coding != Coding::Data && !packets.empty())
                first = std::min<std::uint64_t>(first, packets.front().offset);
        }
        for (std::size_t i = 0; i < sample->tracks.size(); ++i) {
            const auto &packets = sample->recording.tracks[i].packets;
            if (sample->tracks[i].coding == Coding::Data && packets.size() == 1 &&
                packets.front().offset < first)
                sample->leading.push_back(i);
        }
        std::sort(sample->leading.begin(), sample->leading.end(),
                  [this](std::size_t a, std::size_t b) {
                      return sample->recording.tracks[a].packets.front().offset <
                             sample->recording.tracks[b].packets.front().offset;
                  });
    }

    /** A picture is shown when the one that is `delayedBy` places behind its own is decoded. */
    bool agreesWithIndex(const IsoTrack &track, const std::vector<std::int32_t> &orders,
                         const std::vector<std::size_t> &starts)
    {
        std::size_t wrong = 0;
        std::size_t start = 0;
        for (std::size_t i = 0, next = 0; i < orders.size(); ++i) {
            if (next < starts.size() && starts[next] == i)
                start = starts[next++];
            const std::int64_t shown = static_cast<std::int64_t>(start) +
                                       orders[i] / sample->orderStep - static_cast<std::int64_t>(i);
            sample->aheadBy = std::max(sample->aheadBy, shown);
            const std::int64_t place = shown + static_cast<std::int64_t>(i + sample->delayedBy);
            if (place < 0 || place >= static_cast<std::int64_t>(orders.size()))
                continue;
            const std::int64_t expected =
                track.packets[static_cast<std::size_t>(place)].time - track.packets[i].time;
            wrong += track.packets[i].compositionOffset != expected ? 1U : 0U;
        }
        return wrong * 100 <= orders.size();
    }

    std::unique_ptr<SampleProfile> sample;
};

} // namespace

bool SampleProfile::has(Coding coding) const
{
    return std::any_of(tracks.begin(), tracks.end(),
                       [coding](const TrackProfile &track) { return track.coding == coding; });
}

bool SampleProfile::hasUntoldSound() const
{
    return std::any_of(tracks.begin(), tracks.end(),
                       [](const TrackProfile &track) { return track.isUntold; });
}

const AVStream *streamOf(const SampleProfile &sample, std::size_t track)
{
    const std::uint32_t id = sample.recording.tracks[track].id;
    for (unsigned i = 0; i < sample.input->nb_streams; ++i) {
        if (static_cast<std::uint32_t>(sample.input->streams[i]->id) == id)
            return sample.input->streams[i];
    }
    return nullptr;
}

std::unique_ptr<SampleProfile> learnSample(const std::string &path)
{
    return Learning(path).run();
}
