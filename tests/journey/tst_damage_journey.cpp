#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/journey/Journey.h"

#include <functional>

using namespace Journey;

namespace {

constexpr int seconds = 4;

using DamageFunction = std::function<DamagedFile(const QByteArray &)>;

template <typename Function, typename... Arguments>
DamageFunction with(Function function, Arguments... arguments)
{
    return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
}

} // namespace

Q_DECLARE_METATYPE(DamageFunction)

/** The main job with every kind of damage: dropped, repaired, looked at and saved. */
class DamageJourneyTest : public TestCase
{
    Q_OBJECT

    enum Outcome { Refused, AllBack };

    static void addRow(const char *title, const char *master, const DamageFunction &damage,
                       Outcome outcome = AllBack)
    {
        QTest::addRow("%s, %s", master, title)
            << QString::fromLatin1(master) << damage << (outcome == AllBack);
    }

    Desktop desktop;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(
            placeFolder(QStringLiteral(VELLUMIX_SERVICE_ROOT),
                        QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService")));
    }

    void fromTheDropToTheFolder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        QTest::addColumn<bool>("isRepaired");
        addRow("media size 0", "end.mp4", with(Damage::mediaSize, 0U));
        addRow("media size too large", "front.mp4", with(Damage::mediaSize, 0x7ffffff0U));
        addRow("first 40 bytes", "hevc.mp4", with(Damage::zeroedHead, 40));
        addRow("first 512 bytes", "plain.mov", with(Damage::zeroedHead, 512));
        addRow("places shifted", "slices.mp4", with(Damage::shiftedOffsets, 1234));
        addRow("durations 0", "plain24.mov", with(Damage::durations, 0U));
        addRow("index cut in half", "sounds.mp4", with(Damage::cutIndex, 0.5));
        addRow("cut", "front.mp4", with(Damage::cutAt, 0.6));
        addRow("cut, index lost", "end.mp4", with(Damage::cutAt, 0.6), Refused);
        addRow("blocks", "front.mp4", with(Damage::zeroedBlocks, 2, 20000, 3U));
        addRow("fragment header", "fragments.mp4", with(Damage::lostFragmentHeader, 1, -1));
        addRow("cut", "recorder.mkv", with(Damage::cutAt, 0.6));
        addRow("blocks", "recorder.mkv", with(Damage::zeroedBlocks, 2, 20000, 3U));
        addRow("first 512 bytes", "recorder.mkv", with(Damage::zeroedHead, 512), Refused);
        addRow("no index, no sizes", "camera.avi", with(Damage::unfinishedAvi));
        addRow("first 2 KiB", "camera.avi", with(Damage::zeroedHead, 2048));
        addRow("blocks", "camera.avi", with(Damage::zeroedBlocks, 2, 20000, 3U));
        addRow("junk", "broadcast.ts", with(Damage::insertedJunk, 0.5, 777));
        addRow("first 40 bytes", "stream.flv", with(Damage::zeroedHead, 40));
        addRow("cut", "stream.flv", with(Damage::cutAt, 0.6));
    }

    void fromTheDropToTheFolder()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        QFETCH(bool, isRepaired);
        desktop.opened.clear();
        const QString master = makeMaster(masterNamed(name), seconds);
        const DamagedFile damaged = damage(readFile(master));
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("film-") + name);
        writeFile(path, damaged.bytes());

        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        dropOnImportPage(window, {path});
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading() && probe.pendingThumbs().isEmpty(),
                                 longMs);
        // Whatever is known of a file, its size is.
        QVERIFY2(probe.damagedMetadataText().contains(QStringLiteral(" MB")),
                 qPrintable(probe.damagedMetadataText()));
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        QCOMPARE(readFile(path), damaged.bytes());
        const QString fileName = QFileInfo(path).fileName();
        if (!isRepaired) {
            QCOMPARE(resultRows(probe),
                     QStringList(fileName + QStringLiteral("|Quick repair failed. Try Advanced "
                                                           "Repair with a sample video.|Advanced "
                                                           "Repair")));
            return;
        }
        QCOMPARE(
            resultRows(probe),
            QStringList(fileName + QStringLiteral("|Repair succeeded, 1 output file(s)|Preview")));
        QCOMPARE(probe.resultThumbs().size(), 1);

        const QString target = folder.filePath(QStringLiteral("saved-") + name);
        modals.expectFileDialog(QStringLiteral("Save Repaired Video"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved to:\n") + QDir::toNativeSeparators(target));
        press(window, QStringLiteral("Save (1)"));
        QCOMPARE(modals.problems(), QStringList());
        const Score score = scoreOf(readContents(master), damaged, readContents(target));
        QVERIFY2(
            score.recoverable > 0 && score.recovered == score.recoverable,
            qPrintable(QStringLiteral("%1 of %2").arg(score.recovered).arg(score.recoverable)));
        QCOMPARE(desktop.opened, QStringList{folder.path()});
    }

    void cleanupTestCase() { QVERIFY(Workers::awaitAll(std::chrono::seconds(30))); }
};

VELLUMIX_WINDOW_TEST_MAIN(DamageJourneyTest)

#include "tst_damage_journey.moc"
