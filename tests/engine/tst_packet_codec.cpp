#include "engine/matroska/Block.h"
#include "engine/recording/PlainSound.h"
#include "tests/support/TestCase.h"

#include <cmath>
#include <numbers>
#include <random>
#include <string>

namespace {

/** A tone for each channel, half as loud as can be. */
Bytes tones(const PlainSoundLayout &layout, double seconds)
{
    Bytes sound;
    const double loudest = std::ldexp(0.5, layout.bytes * 8 - 1);
    for (int i = 0; i < static_cast<int>(seconds * layout.rate); ++i) {
        for (int channel = 0; channel < layout.channels; ++channel) {
            const double turns = i * (300.0 + 170 * channel) / layout.rate;
            const double value = loudest * std::sin(2 * std::numbers::pi * turns + channel);
            appendLe(sound, static_cast<std::uint64_t>(std::llround(value)),
                     static_cast<unsigned>(layout.bytes));
        }
    }
    return sound;
}

double bytesPerSecond(const PlainSoundLayout &layout)
{
    return static_cast<double>(layout.rate) * layout.channels * layout.bytes;
}

std::vector<std::string> framesIn(const Bytes &element)
{
    std::vector<std::string> texts;
    for (const ByteView frame : singleFrames(element))
        texts.emplace_back(frame.begin(), frame.end());
    return texts;
}

/** A block of track 1 with these flags and this body. */
Bytes blockOf(std::uint8_t flags, const std::string &body)
{
    Bytes element = {0xa3, static_cast<std::uint8_t>(0x80U | (body.size() + 4)), 0x81, 0, 5, flags};
    for (const char byte : body)
        element.push_back(static_cast<std::uint8_t>(byte));
    return element;
}

} // namespace

Q_DECLARE_METATYPE(PlainSoundLayout)

/** What packets tell of themselves, and how they are taken out of their blocks. */
class PacketCodecTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void plainSoundIsToldByItsSmoothness_data()
    {
        QTest::addColumn<PlainSoundLayout>("layout");
        for (const PlainSoundLayout &layout :
             {PlainSoundLayout{.channels = 2, .bytes = 2, .rate = 48000},
              PlainSoundLayout{.channels = 1, .bytes = 2, .rate = 8000},
              PlainSoundLayout{.channels = 2, .bytes = 3, .rate = 44100},
              PlainSoundLayout{.channels = 1, .bytes = 3, .rate = 96000}})
            QTest::addRow("%d channels, %d bytes, %d Hz", layout.channels, layout.bytes,
                          layout.rate)
                << layout;
    }

    void plainSoundIsToldByItsSmoothness()
    {
        QFETCH(PlainSoundLayout, layout);
        // Times in files are coarse.
        for (const double error : {0.995, 1.0, 1.005}) {
            const auto told = plainSoundLayout(tones(layout, 0.5), bytesPerSecond(layout) * error);
            QVERIFY(told.has_value());
            QCOMPARE(told->channels, layout.channels);
            QCOMPARE(told->bytes, layout.bytes);
            QCOMPARE(told->rate, layout.rate);
        }
    }

    void whatIsNoPlainSoundIsNotTakenForIt()
    {
        constexpr std::size_t size = 20000;
        const Bytes silence(size);
        QVERIFY(!plainSoundLayout(silence, 192000));
        std::mt19937 generator(1);
        Bytes noise(size);
        for (std::uint8_t &byte : noise)
            byte = static_cast<std::uint8_t>(generator());
        QVERIFY(!plainSoundLayout(noise, 192000));
        // Of no usual rate, whatever its shape.
        const PlainSoundLayout layout = {.channels = 2, .bytes = 2, .rate = 48000};
        QVERIFY(!plainSoundLayout(tones(layout, 0.1), 150000));
    }

    void framesOfABlock()
    {
        const std::vector<std::string> single = {"abc"};
        QCOMPARE(framesIn(blockOf(0, "abc")), single);
        const std::vector<std::string> three = {"a", "bcd", "ef"};
        const std::string sizesAsTheyAre("\2\1\3", 3);
        QCOMPARE(framesIn(blockOf(0x02, sizesAsTheyAre + "abcdef")), three);
        // The second is two longer than the first: 0x3f stands for no difference.
        const std::string sizesAsDifferences("\2\x81\xc1", 3);
        QCOMPARE(framesIn(blockOf(0x06, sizesAsDifferences + "abcdef")), three);
        // What stands before the block in its group may have a name of two bytes.
        const Bytes group = {0xa0, 0x8c, 0x75, 0xa2, 0x81, 9, 0xa1, 0x86, 0x81, 0, 5, 0, 'x', 'y'};
        QCOMPARE(framesIn(group), std::vector<std::string>{"xy"});
        const std::vector<std::string> equal = {"ab", "cd", "ef"};
        QCOMPARE(framesIn(blockOf(0x04, std::string("\2", 1) + "abcdef")), equal);
    }

    void blocksWithoutSenseHaveNoFrames()
    {
        QVERIFY(framesIn({}).empty());
        QVERIFY(framesIn({0xa3}).empty());
        QVERIFY(framesIn({0xa3, 0x82, 0x81, 0}).empty());
        // Sizes that reach beyond the block, and a count without sizes.
        QVERIFY(framesIn(blockOf(0x02, std::string("\2\xff\xff", 3))).empty());
        QVERIFY(framesIn(blockOf(0x02, std::string("\1\x09", 2) + "abc")).empty());
        QVERIFY(framesIn(blockOf(0x06, std::string("\2\x81\x80", 3) + "abc")).empty());
        QVERIFY(framesIn(blockOf(0x06, {})).empty());
    }
};

VELLUMIX_TEST_MAIN(PacketCodecTest)

#include "tst_packet_codec.moc"
