#include "engine/EngineError.h"
#include "engine/advanced/AdvancedRepair.h"
#include "engine/advanced/EarlyWalk.h"
#include "tests/corpus/Damages.h"
#include "tests/corpus/Masters.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <algorithm>

namespace {

bool isSame(const Packet &a, const Packet &b)
{
    return a.offset == b.offset && a.size == b.size && a.isKey == b.isKey && a.isLost == b.isLost &&
           a.compositionOffset == b.compositionOffset;
}

} // namespace

/** A walk in a thread of its own finds what every walk does, or is not asked for. */
class EarlyWalkTest : public TestCase
{
    Q_OBJECT

    static QByteArray recording(const QString &name)
    {
        constexpr int seconds = 8;
        return readFile(makeMaster(masterNamed(name), seconds));
    }

    /** A recording that has lost its index, and some of its bytes. */
    std::string damaged(const QString &name)
    {
        const QString path = folder.filePath(QStringLiteral("damaged-") + name);
        writeFile(
            path,
            Damage::lostIndexAndBlocks(recording(name), 3, 4096, Damage::Fill::Noise, 1).bytes());
        return path.toStdString();
    }

    static std::string sampleOf(const QString &name)
    {
        constexpr int seconds = 10;
        return makeMaster(masterNamed(name), seconds, Scene::Sample).toStdString();
    }

    std::string noVideo() const
    {
        const QString path = folder.filePath(QStringLiteral("none.mp4"));
        writeFile(path, "no video");
        return path.toStdString();
    }

    QTemporaryDir folder;

private Q_SLOTS:
    void findsWhatEveryWalkFinds_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("frames of sound") << QStringLiteral("end.mp4");
        QTest::newRow("plain sound") << QStringLiteral("plain.mov");
    }

    void findsWhatEveryWalkFinds()
    {
        QFETCH(QString, name);
        const SourceFile file(damaged(name));
        const auto sample = learnSample(sampleOf(name));
        const WalkedMedia expected = walkMedia(*sample, file, 0, file.size());
        EarlyWalk early(file.path(), sampleOf(name), 0);
        const SampledMedia media = early.take();
        const WalkedMedia &walked = media.walked;
        QCOMPARE(media.sample->tracks.size(), sample->tracks.size());
        QVERIFY(!walked.gaps.empty());
        QCOMPARE(walked.gaps.size(), expected.gaps.size());
        QCOMPARE(walked.packets.size(), expected.packets.size());
        for (std::size_t i = 0; i < walked.packets.size(); ++i)
            QVERIFY(std::equal(walked.packets[i].begin(), walked.packets[i].end(),
                               expected.packets[i].begin(), expected.packets[i].end(), isSame));
        QVERIFY(walked.packets[sample->video].size() > 100);
    }

    void aSampleOfNoUseIsToldWhenTheWalkIsAskedFor()
    {
        EarlyWalk early(damaged(QStringLiteral("end.mp4")), noVideo(), 0);
        try {
            early.take();
            QFAIL("it was used");
        } catch (const EngineError &error) {
            QCOMPARE(error.code(), ErrorCode::SampleNotUsable);
        }
    }

    void whatIsNotNeededIsDropped_data()
    {
        QTest::addColumn<std::string>("sample");
        QTest::newRow("a walk") << sampleOf(QStringLiteral("front.mp4"));
        QTest::newRow("a sample of no use") << noVideo();
    }

    void whatIsNotNeededIsDropped()
    {
        QFETCH(std::string, sample);
        const QString input = folder.filePath(QStringLiteral("cut.mp4"));
        const QString output = folder.filePath(QStringLiteral("repaired.mp4"));
        const QByteArray whole = recording(QStringLiteral("front.mp4"));
        writeFile(input, Damage::cutAt(whole, 0.6).bytes());
        const RepairReport report =
            advancedRepair(input.toStdString(), sample, output.toStdString());
        QVERIFY(report.remarks.back().find("sample was not needed") != std::string::npos);
        QVERIFY(QFile::exists(output));
    }

    void aWalkThatIsStoppedFindsNothingMore()
    {
        const QString name = QStringLiteral("end.mp4");
        const SourceFile file(damaged(name));
        const auto sample = learnSample(sampleOf(name));
        std::stop_source stop;
        stop.request_stop();
        const WalkedMedia walked = walkMedia(*sample, file, 0, file.size(), stop.get_token());
        for (const auto &packets : walked.packets)
            QVERIFY(packets.empty());
    }
};

VELLUMIX_TEST_MAIN(EarlyWalkTest)

#include "tst_early_walk.moc"
