#include "engine/pipe/Frame.h"
#include "tests/support/TestCase.h"

#include <algorithm>
#include <numeric>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes framed(const Bytes &message)
{
    const auto header = Frame::header(static_cast<std::uint32_t>(message.size()));
    Bytes bytes(header.size() + message.size());
    std::copy(message.begin(), message.end(),
              std::copy(header.begin(), header.end(), bytes.begin()));
    return bytes;
}

void feed(Frame::Reader &reader, const Bytes &bytes)
{
    reader.input().insert(reader.input().end(), bytes.begin(), bytes.end());
}

} // namespace

class FrameTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void headerIsLittleEndian()
    {
        QVERIFY(Frame::header(0x01020304) == (std::array<std::uint8_t, 4>{0x04, 0x03, 0x02, 0x01}));
    }

    void messageInPieces()
    {
        Bytes message(300);
        std::iota(message.begin(), message.end(), std::uint8_t{0});
        const Bytes bytes = framed(message);
        Frame::Reader reader;
        for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
            feed(reader, {bytes[i]});
            QVERIFY(!reader.hasMessage());
            QVERIFY(!reader.take());
        }
        feed(reader, {bytes.back()});
        QVERIFY(reader.hasMessage());
        QVERIFY(reader.take() == message);
        QVERIFY(!reader.hasMessage());
    }

    void messagesTogether()
    {
        Frame::Reader reader;
        Bytes bytes = framed({1, 2, 3});
        const Bytes empty = framed({});
        const Bytes last = framed({4});
        bytes.insert(bytes.end(), empty.begin(), empty.end());
        bytes.insert(bytes.end(), last.begin(), last.end());
        feed(reader, bytes);
        QVERIFY(reader.take() == Bytes({1, 2, 3}));
        QVERIFY(reader.take() == Bytes());
        QVERIFY(reader.take() == Bytes({4}));
        QVERIFY(!reader.take());
    }

    void tooLongIsNoMessage()
    {
        Frame::Reader reader;
        feed(reader, {0xff, 0xff, 0xff, 0xff, 1, 2, 3});
        QVERIFY(!reader.take());
        QVERIFY(reader.isBroken());
    }
};

VELLUMIX_TEST_MAIN(FrameTest)

#include "tst_frame.moc"
