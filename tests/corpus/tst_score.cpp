#include "tests/corpus/Decoded.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <algorithm>

/** The scorer itself: it must tell good outputs from bad ones. */
class ScoreTest : public TestCase
{
    Q_OBJECT

    /** The scores of an output made from the original by `change`. */
    template <typename Change>
    Score scoreAfter(Change change) const
    {
        Contents output = original;
        change(output);
        return scoreOf(original, undamaged, output);
    }

    std::vector<Contents::Packet> &videoOf(Contents &contents) const
    {
        return contents.streams[0].packets;
    }

private Q_SLOTS:
    void initTestCase()
    {
        master = makeMaster(masterNamed(QStringLiteral("end.mp4")), 4);
        original = readContents(master);
        undamaged = DamagedFile(readFile(master));
        QCOMPARE(original.streams.size(), std::size_t{2});
        QCOMPARE(original.streams[0].packets.size(), std::size_t{120});
    }

    void theSameAgainIsPerfect()
    {
        const Score score = scoreAfter([](Contents &) {});
        QVERIFY(score.isPerfect());
        QCOMPARE(score.recall(), 1.0);
        QCOMPARE(score.recoverable, score.matched);
        QVERIFY(score.recoverable > 300);
    }

    void truncated()
    {
        const Score score = scoreAfter([this](Contents &output) { videoOf(output).resize(60); });
        QCOMPARE(score.recoverable - score.recovered, 60);
        QCOMPARE(score.wrong, 0);
        QVERIFY(!score.isPerfect());
    }

    void nothing()
    {
        const Score score = scoreAfter([](Contents &output) { output.streams.clear(); });
        QCOMPARE(score.recovered, 0);
        QVERIFY(score.recoverable > 300);
        QCOMPARE(score.recall(), 0.0);
    }

    void aTrackIsMissing()
    {
        const Score score = scoreAfter([](Contents &output) { output.streams.pop_back(); });
        QCOMPARE(score.recovered, 120);
        QVERIFY(score.recoverable > 300);
    }

    void shuffled()
    {
        const Score score = scoreAfter([this](Contents &output) {
            auto &packets = videoOf(output);
            std::swap(packets[10], packets[40]);
            std::swap(packets[20], packets[50]);
        });
        QCOMPARE(score.recovered, score.recoverable);
        QVERIFY(score.misplaced > 20);
        QVERIFY(!score.isPerfect());
    }

    void duplicated()
    {
        const Score score = scoreAfter([this](Contents &output) {
            auto &packets = videoOf(output);
            packets.insert(packets.begin() + 31, packets[30]);
        });
        QCOMPARE(score.recovered, score.recoverable);
        QCOMPARE(score.wrong, 1);
    }

    void foreignPacket()
    {
        const Score score = scoreAfter([this](Contents &output) { videoOf(output)[30].hash ^= 1; });
        QCOMPARE(score.recoverable - score.recovered, 1);
        QCOMPARE(score.wrong, 1);
    }

    void silenceInTheSteadOfSoundIsNotCounted()
    {
        const Score score = scoreAfter([](Contents &output) {
            output.streams[1].packets[7].hash ^= 1;
            output.streams[1].packets[7].isSilence = true;
        });
        QCOMPARE(score.recoverable - score.recovered, 1);
        QCOMPARE(score.wrong, 0);
    }

    void wrongTimes()
    {
        const Score score = scoreAfter([this](Contents &output) {
            for (Contents::Packet &packet : videoOf(output))
                packet.shown *= 3;
        });
        QCOMPARE(score.mistimed, 119);
        QVERIFY(qAbs(score.timeError - 2 * 119 / 30.0) < 0.2);
    }

    void soundThatRunsLate()
    {
        const Score score = scoreAfter([](Contents &output) {
            for (Contents::Packet &packet : output.streams[1].packets)
                packet.shown += 0.04;
        });
        QCOMPARE(score.mistimed, static_cast<std::int64_t>(original.streams[1].packets.size()));
        QVERIFY(qAbs(score.timeError - 0.04) < 1e-6);
    }

    void aLaterBeginningOfAllIsNoError()
    {
        const Score score = scoreAfter([](Contents &output) {
            for (Contents::Stream &stream : output.streams) {
                for (Contents::Packet &packet : stream.packets)
                    packet.shown += 100;
            }
        });
        QVERIFY(score.isPerfect());
    }

    void swappedTracksAreToldByWhatTheyHold()
    {
        const Score score =
            scoreAfter([](Contents &output) { std::swap(output.streams[0], output.streams[1]); });
        QVERIFY(score.isPerfect());
    }

    void onlyWhatCameThroughIsExpected()
    {
        const QByteArray bytes = undamaged.bytes();
        const DamagedFile half = Damage::cutAt(bytes, 0.5);
        const Score all = scoreOf(original, half, original);
        QVERIFY(all.recoverable > 100 && all.recoverable < 200);
        QCOMPARE(all.recovered, all.recoverable);
        // Nothing beyond what can be asked for is held against an output.
        QCOMPARE(all.wrong, 0);
        QVERIFY(all.matched > all.recoverable);
    }

    void spansThatCameThrough()
    {
        DamagedFile file(QByteArray("0123456789abcdef"));
        file.insert(4, "xx");
        file.zero(8, 2);
        file.cut(14);
        QCOMPARE(file.bytes(), QByteArray("0123xx45\0\0"
                                          "89ab",
                                          14));
        QVERIFY(file.survives(0, 4));
        QVERIFY(!file.survives(3, 2));
        QVERIFY(file.survives(4, 2));
        QVERIFY(!file.survives(5, 2));
        QVERIFY(file.survives(8, 4));
        QVERIFY(!file.survives(11, 2));
    }

    void whatIsDecodedOfAnUndamagedRecording()
    {
        const DecodedScore score = decodedScoreOf(master, undamaged, master);
        QCOMPARE(score.all, 120);
        QCOMPARE(score.possible, 120);
        QCOMPARE(score.shown, 120);
    }

    /** Up to the next key picture, everything needs it. */
    void aLostKeyPictureTakesOthersWithIt()
    {
        DamagedFile damaged = undamaged;
        const Contents::Packet &key = original.streams[0].packets[0];
        damaged.zero(key.place + key.size / 2, 1);
        const DecodedScore score = decodedScoreOf(master, damaged, master);
        QCOMPARE(score.all, 120);
        QVERIFY2(score.possible >= 65 && score.possible <= 72,
                 qPrintable(QString::number(score.possible)));
        QCOMPARE(score.shown, score.possible);
    }

    void picturesThatAnOutputDoesNotShow()
    {
        const QString shorter = makeMaster(masterNamed(QStringLiteral("end.mp4")), 2);
        const DecodedScore score = decodedScoreOf(master, undamaged, shorter);
        QCOMPARE(score.possible, 120);
        QVERIFY2(score.shown >= 50 && score.shown <= 60, qPrintable(QString::number(score.shown)));
        QCOMPARE(decodedScoreOf(master, undamaged, QStringLiteral("not there")).shown, 0);
    }

    void mastersAreTheSameOnEveryRun()
    {
        const Master &plain = masterNamed(QStringLiteral("plain.mov"));
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("again.mov"));
        recordMaster(plain, path, 1);
        QCOMPARE(readFile(path), readFile(makeMaster(plain, 1)));
    }

private:
    QString master;
    Contents original;
    DamagedFile undamaged{QByteArray()};
};

VELLUMIX_TEST_MAIN(ScoreTest)

#include "tst_score.moc"
