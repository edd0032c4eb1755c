#include "engine/advanced/AacLength.h"
#include "engine/advanced/AacTables.h"
#include "engine/media/Ffmpeg.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Kind = AacReading::Kind;

/** Puts bits one behind the other, the highest of a number first. */
class BitWriter
{
public:
    BitWriter &put(std::uint32_t value, unsigned count)
    {
        for (unsigned i = count; i-- > 0;) {
            if (used % 8 == 0)
                bytes.push_back(0);
            bytes.back() =
                static_cast<std::uint8_t>(bytes.back() | (value >> i & 1U) << (7 - used % 8));
            ++used;
        }
        return *this;
    }

    void align() { used = (used + 7) / 8 * 8; }

    Bytes bytes;

private:
    unsigned used = 0;
};

/** A code of a book, with what stands behind it. */
struct WrittenCode
{
    std::uint32_t bits = 0;
    unsigned length = 0;
    unsigned signs = 0;
    unsigned escapes = 0;
};

std::vector<WrittenCode> codesOf(const AacTables::Book &book)
{
    std::vector<WrittenCode> codes;
    std::uint32_t next = 0;
    for (unsigned length = 1; length < book.counts.size(); ++length) {
        next <<= 1U;
        for (unsigned i = 0; i < book.counts[length]; ++i) {
            const char tail = book.tails.empty() ? '0' : book.tails[codes.size()];
            WrittenCode code = {.bits = next++, .length = length};
            code.signs = tail < 'a' ? static_cast<unsigned>(tail - '0') : tail == 'a' ? 1 : 2;
            code.escapes = tail < 'a' ? 0 : tail == 'c' ? 2 : 1;
            codes.push_back(code);
        }
    }
    return codes;
}

/** How a stream is coded: as the decoder's configuration says it. */
struct Format
{
    unsigned rate = 3;
    unsigned channels = 1;
    bool isShorter = false;

    Bytes configuration() const
    {
        BitWriter writer;
        writer.put(2, 5).put(rate, 4).put(channels, 4).put(isShorter ? 1 : 0, 1).put(0, 2);
        return writer.bytes;
    }

    Bytes silentFrame() const
    {
        BitWriter writer;
        if (channels == 2)
            // One description of the windows for both.
            writer.put(1, 3).put(0, 4).put(1, 1).put(0, 13).put(0, 11).put(0, 11);
        else
            writer.put(0, 3).put(0, 4).put(0, 8).put(0, 11).put(0, 3);
        writer.put(7, 3);
        return writer.bytes;
    }
};

/** FFmpeg's decoder, as it tells lengths: by what is left of the bytes before each frame. */
class Decoder
{
public:
    explicit Decoder(Bytes ofConfiguration) : configuration(std::move(ofConfiguration)) { open(); }

    /** Of the frames that follow one another, the last without a length if it fails. */
    std::vector<std::uint32_t> remainders(const Bytes &bytes, bool &isWhole)
    {
        std::vector<std::uint32_t> left;
        if (av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
            qFatal("no memory");
        std::copy(bytes.begin(), bytes.end(), packet->data);
        int result = avcodec_send_packet(context.get(), packet.get());
        av_packet_unref(packet.get());
        while (result >= 0) {
            result = avcodec_receive_frame(context.get(), frame.get());
            if (result >= 0)
                left.push_back(static_cast<std::uint32_t>(frame->pkt_size));
            av_frame_unref(frame.get());
        }
        isWhole = result == AVERROR(EAGAIN);
        if (!isWhole)
            open();
        return left;
    }

    /** The bytes are one frame, behind which the next is found. */
    bool isFrame(const Bytes &bytes, const Bytes &next)
    {
        Bytes both = bytes;
        both.insert(both.end(), next.begin(), next.end());
        bool isWhole = false;
        const auto left = remainders(both, isWhole);
        return isWhole && left.size() == 2 && left[1] == next.size();
    }

private:
    void open()
    {
        const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
        context.reset(avcodec_alloc_context3(codec));
        context->thread_count = 1;
        context->err_recognition = AV_EF_EXPLODE;
        context->extradata = static_cast<std::uint8_t *>(
            av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::copy(configuration.begin(), configuration.end(), context->extradata);
        context->extradata_size = static_cast<int>(configuration.size());
        if (avcodec_open2(context.get(), codec, nullptr) < 0)
            qFatal("no decoder");
    }

    Bytes configuration;
    Ffmpeg::CodecContextPtr context;
    Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    Ffmpeg::FramePtr frame = Ffmpeg::makeFrame();
};

/** A walk and a decoder that know the same stream. */
struct Judges
{
    explicit Judges(const Format &format)
        : silence(format.silentFrame()),
          lengths(format.configuration()),
          decoder(format.configuration())
    {
        if (!lengths.learn(silence) || !decoder.isFrame(silence, silence))
            qFatal("silence is no frame");
    }

    bool walkTakes(const Bytes &frame) const
    {
        const AacReading reading = lengths.at(frame);
        return reading.kind == Kind::Frame && reading.size == frame.size();
    }

    bool decoderTakes(const Bytes &frame) { return decoder.isFrame(frame, silence); }

    Bytes silence;
    AacLength lengths;
    Decoder decoder;
};

/** The beginning of a frame of one channel whose first band alone has values. */
BitWriter oneBand(std::uint32_t gain, std::uint32_t book, const WrittenCode &scale)
{
    BitWriter writer;
    writer.put(0, 7).put(gain, 8).put(0, 4).put(1, 6).put(0, 1);
    writer.put(book, 4).put(1, 5).put(scale.bits, scale.length).put(0, 3);
    return writer;
}

/** A frame with one code of a book. @param ones that each escape begins with */
Bytes frameWith(std::size_t number, const WrittenCode &code, unsigned ones = 0)
{
    constexpr unsigned valuesOfBand = 4;
    BitWriter writer = oneBand(100, static_cast<std::uint32_t>(number + 1), {0, 1, 0, 0});
    for (unsigned i = 0; i < valuesOfBand / AacTables::spectralBooks[number].values; ++i) {
        writer.put(code.bits, code.length).put(0xf, code.signs);
        for (unsigned escape = 0; escape < code.escapes; ++escape)
            writer.put(0xffffU, ones).put(0, 1).put(0xffffU, ones + 4);
    }
    writer.put(7, 3);
    return writer.bytes;
}

/** What an encoder made of sound, with the configuration that a decoder needs. */
struct Encoded
{
    Bytes configuration;
    std::vector<Bytes> frames;
};

Encoded readFrames(const QString &path)
{
    Encoded sound;
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, Ffmpeg::fileUrl(path.toStdString()).c_str(), nullptr,
                            nullptr) < 0)
        qFatal("%s cannot be opened", qPrintable(path));
    const Ffmpeg::InputPtr input(opened);
    const AVCodecParameters &parameters = *input->streams[0]->codecpar;
    sound.configuration.assign(parameters.extradata,
                               parameters.extradata + parameters.extradata_size);
    const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        sound.frames.emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet.get());
    }
    return sound;
}

/** Music-like sound: tones that rise, noise, and clicks, for which short windows are there. */
Encoded encode(const QString &path, int rate, const QString &channels, const QStringList &options)
{
    QStringList parts;
    const int count = channels == QLatin1String("5.1") ? 6 : channels.toInt();
    for (int i = 0; i < count; ++i)
        parts.append(QStringLiteral("0.3*sin((%1+20*t)*t*6)+0.2*random(%2)*lt(mod(t\\,0.5)\\,0.2)"
                                    "+0.4*lt(mod(t+%2/7\\,0.3)\\,0.001)")
                         .arg(200 + 130 * i)
                         .arg(i));
    Footage::run(QStringLiteral("ffmpeg"),
                 QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                             QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                             QStringLiteral("aevalsrc=%1:s=%2:d=3:c=%3")
                                 .arg(parts.join(QLatin1Char('|')))
                                 .arg(rate)
                                 .arg(count == 1   ? QStringLiteral("mono")
                                      : count == 2 ? QStringLiteral("stereo")
                                                   : channels),
                             QStringLiteral("-c:a"), QStringLiteral("aac")} +
                     options + QStringList(path));
    return readFrames(path);
}

/** Makes frames with everything that a frame may have in it, chosen by chance. */
class Composer
{
public:
    explicit Composer(const Format &of) : format(of), generator(of.rate)
    {
        for (const AacTables::Book &book : AacTables::spectralBooks)
            codes.push_back(codesOf(book));
        const AacTables::Bands &bands = *AacTables::bandsOfRate[format.rate];
        longEnds = endsOf(bands.longEnds, format.isShorter ? 960 : 1024);
        shortEnds = endsOf(bands.shortEnds, format.isShorter ? 120 : 128);
    }

    Bytes frame()
    {
        writer = {};
        if (pick(4) == 0)
            fill();
        const bool isPair = format.channels == 2;
        const bool isCommon = isPair && pick(2) == 0;
        writer.put(isPair ? 1 : 0, 3).put(0, 4).put(isCommon ? 1 : 0, isPair ? 1 : 0);
        if (isCommon) {
            windows();
            const std::uint32_t mask = pick(3);
            writer.put(mask, 2);
            for (unsigned i = 0; mask == 1 && i < bandCount * groups.size(); ++i)
                writer.put(pick(2), 1);
        }
        for (unsigned i = 0; i < format.channels; ++i)
            channel(isCommon);
        if (pick(4) == 0)
            data();
        writer.put(7, 3);
        return writer.bytes;
    }

    std::uint32_t pick(std::size_t below)
    {
        return static_cast<std::uint32_t>(generator() % below);
    }

private:
    template <typename Table>
    static std::vector<unsigned> endsOf(const Table &table, unsigned samples)
    {
        std::vector<unsigned> ends = {0};
        for (const unsigned end : table) {
            if (end != 0 && ends.back() != samples)
                ends.push_back(std::min(end, samples));
        }
        return ends;
    }

    const std::vector<unsigned> &ends() const { return isShort ? shortEnds : longEnds; }

    /** Of no kind that a decoder looks into. */
    void fill()
    {
        const std::uint32_t count = 1 + pick(40);
        writer.put(6, 3).put(std::min(count, 15U), 4);
        if (count >= 15)
            writer.put(count - 14, 8);
        writer.put(0, 8);
        noise(count - 1);
    }

    void data()
    {
        const std::uint32_t count = pick(300);
        const bool isAligned = pick(2) == 0;
        writer.put(4, 3).put(0, 4).put(isAligned ? 1 : 0, 1).put(std::min(count, 255U), 8);
        if (count >= 255)
            writer.put(count - 255, 8);
        if (isAligned)
            writer.align();
        noise(count);
    }

    void noise(std::uint32_t count)
    {
        for (; count > 0; --count)
            writer.put(pick(256), 8);
    }

    void windows()
    {
        isShort = pick(2) == 0;
        writer.put(0, 1).put(isShort ? 2 : pick(2), 2).put(pick(2), 1);
        bandCount = pick(ends().size());
        groups = {1};
        writer.put(bandCount, isShort ? 4 : 6).put(0, isShort ? 0 : 1);
        for (int i = 1; isShort && i < 8; ++i) {
            const bool isSame = pick(2) == 0;
            writer.put(isSame ? 1 : 0, 1);
            if (!isSame)
                groups.push_back(0);
            ++groups.back();
        }
    }

    void channel(bool isCommon)
    {
        gain = 100 + pick(100);
        writer.put(gain, 8);
        if (!isCommon)
            windows();
        sections();
        scales();
        const bool hasPulses = !isShort && pick(4) == 0;
        writer.put(hasPulses ? 1 : 0, 1);
        if (hasPulses)
            writer.put(3, 2).put(pick(20), 6).put(pick(1U << 18U), 18).put(pick(1U << 18U), 18);
        const bool isShaped = pick(4) == 0;
        writer.put(isShaped ? 1 : 0, 1);
        if (isShaped)
            shape();
        writer.put(0, 1);
        spectrum();
    }

    /** Which book each band of each group has. */
    void sections()
    {
        constexpr std::uint32_t reserved = 12;
        const unsigned width = isShort ? 3 : 5;
        const std::uint32_t longest = (1U << width) - 1;
        books.clear();
        for (std::size_t group = 0; group < groups.size(); ++group) {
            for (unsigned band = 0; band < bandCount;) {
                const std::uint32_t book = pick(reserved) + (pick(4) == 0 ? 4 : 0);
                const std::uint32_t count = 1 + pick(bandCount - band);
                writer.put(book == reserved ? 0 : book, 4);
                for (std::uint32_t left = count + 1; left > 0;) {
                    const std::uint32_t step = std::min(left - 1, longest);
                    writer.put(step, width);
                    left = step == longest ? left - step : 0;
                }
                books.insert(books.end(), count, book == reserved ? 0 : book);
                band += count;
            }
        }
    }

    void scales()
    {
        constexpr std::uint32_t noiseBook = 13;
        constexpr std::size_t usual = 12;
        const auto steps = codesOf(AacTables::scaleBook);
        bool isFirst = true;
        for (const std::uint32_t book : books) {
            if (book == noiseBook && isFirst) {
                isFirst = false;
                writer.put(pick(512), 9);
            } else if (book != 0) {
                const std::size_t number = pick(book >= noiseBook ? steps.size() : usual);
                const std::uint32_t next = gain + AacTables::scaleSteps[number] - 60;
                const bool isPossible = book >= noiseBook || next < 256;
                const WrittenCode &code = steps[isPossible ? number : 0];
                writer.put(code.bits, code.length);
                gain = book < noiseBook && isPossible ? next : gain;
            }
        }
    }

    void shape()
    {
        for (int window = 0; window < (isShort ? 8 : 1); ++window) {
            const std::uint32_t filters = pick(isShort ? 2 : 4);
            const std::uint32_t resolution = pick(2);
            writer.put(filters, isShort ? 1 : 2).put(resolution, filters > 0 ? 1 : 0);
            for (std::uint32_t i = 0; i < filters; ++i) {
                const std::uint32_t order = pick(isShort ? 8 : 13);
                const std::uint32_t isPacked = pick(2);
                writer.put(pick(16), isShort ? 4 : 6).put(order, isShort ? 3 : 5);
                writer.put(isPacked, order > 0 ? 2 : 0);
                for (std::uint32_t j = 0; j < order; ++j)
                    writer.put(pick(4), 3 + resolution - isPacked);
            }
        }
    }

    void spectrum()
    {
        for (std::size_t i = 0; i < books.size(); ++i) {
            const std::uint32_t book = books[i];
            if (book == 0 || book > codes.size())
                continue;
            const unsigned band = static_cast<unsigned>(i) % bandCount;
            const unsigned values = (ends()[band + 1] - ends()[band]) * groups[i / bandCount];
            for (unsigned j = 0; j < values; j += AacTables::spectralBooks[book - 1].values) {
                const WrittenCode &code = codes[book - 1][pick(codes[book - 1].size())];
                writer.put(code.bits, code.length).put(pick(16), code.signs);
                for (unsigned escape = 0; escape < code.escapes; ++escape) {
                    const unsigned ones = pick(9);
                    writer.put(0xffffU, ones).put(0, 1).put(pick(1U << 12U), ones + 4);
                }
            }
        }
    }

    Format format;
    std::mt19937 generator;
    std::vector<std::vector<WrittenCode>> codes;
    std::vector<unsigned> longEnds;
    std::vector<unsigned> shortEnds;
    BitWriter writer;
    bool isShort = false;
    unsigned bandCount = 0;
    std::vector<unsigned> groups;
    std::vector<std::uint32_t> books;
    std::uint32_t gain = 0;
};

} // namespace

Q_DECLARE_METATYPE(Format)

/** Lengths of AAC's frames, told without decoding them. */
class AacLengthTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    /** The decoder is given much that it cannot take. */
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }

    void booksAreComplete()
    {
        std::vector<AacTables::Book> books(AacTables::spectralBooks.begin(),
                                           AacTables::spectralBooks.end());
        books.push_back(AacTables::scaleBook);
        for (const AacTables::Book &book : books) {
            std::uint32_t used = 0;
            std::size_t count = 0;
            for (unsigned length = 1; length < book.counts.size(); ++length) {
                used += std::uint32_t{book.counts[length]} << (20 - length);
                count += book.counts[length];
            }
            QCOMPARE(used, 1U << 20U);
            QVERIFY(book.tails.empty() || book.tails.size() == count);
        }
        auto steps = AacTables::scaleSteps;
        std::sort(steps.begin(), steps.end());
        for (std::size_t i = 0; i < steps.size(); ++i)
            QCOMPARE(std::size_t{steps[i]}, i);
    }

    void everyCodeIsReadAsTheDecoderReadsIt()
    {
        Judges judges({});
        for (std::size_t number = 0; number < AacTables::spectralBooks.size(); ++number) {
            for (const WrittenCode &code : codesOf(AacTables::spectralBooks[number])) {
                const Bytes frame = frameWith(number, code);
                const auto text = QStringLiteral("book %1, code %2 of %3 bits")
                                      .arg(number + 1)
                                      .arg(code.bits, 0, 16)
                                      .arg(code.length);
                QVERIFY2(judges.walkTakes(frame), qPrintable(text));
                QVERIFY2(judges.decoderTakes(frame), qPrintable(text));
            }
        }
    }

    void escapesAreAsLongAsTheDecoderTakesThem()
    {
        constexpr std::size_t lastBook = 10;
        Judges judges({});
        const auto codes = codesOf(AacTables::spectralBooks[lastBook]);
        const auto twice = std::find_if(codes.begin(), codes.end(),
                                        [](const WrittenCode &code) { return code.escapes == 2; });
        QVERIFY(twice != codes.end());
        for (unsigned ones = 0; ones < 12; ++ones) {
            const Bytes frame = frameWith(lastBook, *twice, ones);
            QCOMPARE(judges.walkTakes(frame), ones <= 8);
            QCOMPARE(judges.decoderTakes(frame), ones <= 8);
        }
    }

    /** A scale factor is a number of eight bits, which shows where a step leads out of it. */
    void everyStepOfScaleIsTheDecoders()
    {
        constexpr std::uint32_t middle = 60;
        constexpr std::uint32_t most = 255;
        Judges judges({});
        const auto codes = codesOf(AacTables::scaleBook);
        for (std::size_t i = 0; i < codes.size(); ++i) {
            const std::uint32_t step = AacTables::scaleSteps[i];
            if (step == middle)
                continue;
            const bool isUp = step > middle;
            const std::uint32_t last = isUp ? most + middle - step : middle - step;
            for (const std::uint32_t gain : {last, isUp ? last + 1 : last - 1}) {
                const Bytes frame = oneBand(gain, 1, codes[i]).put(0, 1).put(7, 3).bytes;
                QCOMPARE(judges.walkTakes(frame), gain == last);
                QCOMPARE(judges.decoderTakes(frame), gain == last);
            }
        }
    }

    void framesOfAnEncoder_data()
    {
        QTest::addColumn<int>("rate");
        QTest::addColumn<QString>("channels");
        QTest::addColumn<QString>("options");
        for (const int rate : {8000, 11025, 16000, 22050, 32000, 44100, 48000, 64000, 96000}) {
            for (const char *channels : {"1", "2", "5.1"})
                QTest::addRow("%d Hz, %s", rate, channels)
                    << rate << QString::fromLatin1(channels) << QString();
        }
        for (const char *options : {"-b:a 24k", "-b:a 320k", "-aac_coder fast",
                                    "-aac_tns 0 -aac_pns 0", "-aac_is 0", "-aac_ms 1", "-q:a 2"})
            QTest::addRow("%s", options)
                << 48000 << QStringLiteral("2") << QString::fromLatin1(options);
    }

    void framesOfAnEncoder()
    {
        QFETCH(int, rate);
        QFETCH(QString, channels);
        QFETCH(QString, options);
        const QTemporaryDir folder;
        const Encoded sound = encode(folder.filePath(QStringLiteral("sound.mp4")), rate, channels,
                                     options.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        QVERIFY(sound.frames.size() > 20);
        AacLength lengths(sound.configuration);
        for (const Bytes &frame : sound.frames)
            QVERIFY(lengths.learn(frame));
        Bytes joined;
        for (const Bytes &frame : sound.frames)
            joined.insert(joined.end(), frame.begin(), frame.end());
        ByteView rest = joined;
        for (const Bytes &frame : sound.frames) {
            const AacReading reading = lengths.at(rest);
            QVERIFY(reading.kind == Kind::Frame);
            QCOMPARE(std::size_t{reading.size}, frame.size());
            rest = rest.subspan(frame.size());
        }
    }

    /** Each in memory of its own, at the end of which a sanitizer watches. */
    void framesThatAreCutAreNone()
    {
        const QTemporaryDir folder;
        const Encoded sound =
            encode(folder.filePath(QStringLiteral("sound.mp4")), 48000, QStringLiteral("2"), {});
        AacLength lengths(sound.configuration);
        QVERIFY(lengths.learn(sound.frames.front()));
        for (std::size_t i = 0; i < sound.frames.size(); i += 7) {
            const Bytes &frame = sound.frames[i];
            for (std::size_t size = 0; size < frame.size(); ++size) {
                const Bytes cut(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size));
                QVERIFY(lengths.at(cut).kind == Kind::None);
            }
        }
    }

    /** What the walk takes for a frame when bits of it have changed, the decoder takes, too. */
    void changedFramesAreJudgedAsByTheDecoder()
    {
        const QTemporaryDir folder;
        const Encoded sound =
            encode(folder.filePath(QStringLiteral("sound.mp4")), 48000, QStringLiteral("2"), {});
        AacLength lengths(sound.configuration);
        QVERIFY(lengths.learn(sound.frames.front()));
        Decoder decoder(sound.configuration);
        std::mt19937 generator(3);
        int taken = 0;
        constexpr int rounds = 4000;
        for (int round = 0; round < rounds; ++round) {
            const Bytes &next = sound.frames[generator() % sound.frames.size()];
            Bytes both = sound.frames[generator() % sound.frames.size()];
            const std::size_t size = both.size();
            for (int flips = round % 3; flips >= 0; --flips) {
                const std::size_t bit = generator() % (size * 8);
                both[bit / 8] = static_cast<std::uint8_t>(both[bit / 8] ^ 1U << bit % 8);
            }
            const Bytes changed = both;
            both.insert(both.end(), next.begin(), next.end());
            const AacReading reading = lengths.at(both);
            if (reading.kind == Kind::Frame && reading.size == size) {
                ++taken;
                QVERIFY(decoder.isFrame(changed, next));
            }
        }
        QVERIFY(taken > 0);
        QVERIFY(taken < rounds);
    }

    void composedFramesAreReadAsTheDecoderReadsThem_data()
    {
        QTest::addColumn<Format>("format");
        for (unsigned rate = 0; rate < AacTables::bandsOfRate.size(); ++rate) {
            for (const unsigned channels : {1U, 2U}) {
                for (const bool isShorter : {false, true})
                    QTest::addRow("rate %u, %u channels, %s frames", rate, channels,
                                  isShorter ? "shorter" : "usual")
                        << Format{.rate = rate, .channels = channels, .isShorter = isShorter};
            }
        }
    }

    void composedFramesAreReadAsTheDecoderReadsThem()
    {
        constexpr int rounds = 100;
        QFETCH(Format, format);
        Judges judges(format);
        Composer composer(format);
        for (int round = 0; round < rounds; ++round) {
            Bytes frame = composer.frame();
            QVERIFY(judges.walkTakes(frame));
            QVERIFY(judges.decoderTakes(frame));
            const std::size_t bit = composer.pick(frame.size() * 8);
            frame[bit / 8] = static_cast<std::uint8_t>(frame[bit / 8] ^ 1U << bit % 8);
            QVERIFY(!judges.walkTakes(frame) || judges.decoderTakes(frame));
        }
    }

    /** What is of another profile is left to the decoder. */
    void otherCodingsAreNotJudged()
    {
        const Bytes silence = Format().silentFrame();
        for (const std::uint32_t coding : {1U, 3U, 4U, 23U}) {
            AacLength lengths(BitWriter().put(coding, 5).put(3, 4).put(1, 4).put(0, 3).bytes);
            QVERIFY(!lengths.learn(silence));
            QVERIFY(lengths.at(silence).kind == Kind::Unsure);
        }
        QVERIFY(!AacLength(ByteView()).learn(silence));
    }

    /** Low complexity as the core of replicated bands, at half the rate that is heard. */
    void theCoreOfReplicatedBandsIsRead()
    {
        BitWriter writer;
        writer.put(5, 5).put(6, 4).put(1, 4).put(3, 4).put(2, 5).put(0, 3);
        AacLength lengths(writer.bytes);
        Composer composer({.rate = 6, .channels = 1});
        QVERIFY(lengths.learn(Format().silentFrame()));
        for (int round = 0; round < 100; ++round) {
            const Bytes frame = composer.frame();
            const AacReading reading = lengths.at(frame);
            QVERIFY(reading.kind == Kind::Frame);
            QCOMPARE(std::size_t{reading.size}, frame.size());
        }
    }
};

VELLUMIX_TEST_MAIN(AacLengthTest)

#include "tst_aac_length.moc"
