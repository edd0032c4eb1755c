#include "engine/EngineError.h"
#include "engine/advanced/AdvancedRepair.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFileInfo>

#include <functional>
#include <optional>

namespace {

using DamageFunction = std::function<DamagedFile(const QByteArray &)>;

constexpr int seconds = 8;
constexpr int sampleSeconds = 10;

QByteArray textOf(const Score &score)
{
    return QStringLiteral("recovered %1 of %2, wrong %3, misplaced %4, mistimed %5 (by %6 s), "
                          "sound beside picture %7 s")
        .arg(score.recovered)
        .arg(score.recoverable)
        .arg(score.wrong)
        .arg(score.misplaced)
        .arg(score.mistimed)
        .arg(score.timeError)
        .arg(score.soundError)
        .toLatin1();
}

} // namespace

Q_DECLARE_METATYPE(DamageFunction)

/** What advanced repair brings back of recordings without an index, with a sample's help. */
class AdvancedRepairTest : public TestCase
{
    Q_OBJECT

    struct Outcome
    {
        RepairReport report;
        Contents original;
        Contents output;
        Score score;
    };

    static QString sampleOf(const QString &name)
    {
        return makeMaster(masterNamed(name), QStringLiteral(VELLUMIX_CORPUS), sampleSeconds,
                          Scene::Sample);
    }

    /** Damages a master, repairs it and compares. Throws what the repair throws. */
    Outcome repair(const QString &name, const DamageFunction &damage)
    {
        return repair(name, damage, sampleOf(name));
    }

    Outcome repair(const QString &name, const DamageFunction &damage, const QString &sample)
    {
        const QString master =
            makeMaster(masterNamed(name), QStringLiteral(VELLUMIX_CORPUS), seconds);
        const DamagedFile damaged = damage(readFile(master));
        const QString input = folder.filePath(QStringLiteral("damaged-") + name);
        outputPath = folder.filePath(QStringLiteral("repaired-") + name);
        writeFile(input, damaged.bytes());
        QFile::remove(outputPath);
        Outcome outcome;
        outcome.report =
            advancedRepair(input.toStdString(), sample.toStdString(), outputPath.toStdString());
        if (readFile(input) != damaged.bytes())
            qFatal("the damaged file was written to");
        outcome.original = readContents(master);
        outcome.output = readContents(outputPath);
        outcome.score = scoreOf(outcome.original, damaged, outcome.output);
        return outcome;
    }

    static void addRow(const char *title, const char *master, const DamageFunction &damage)
    {
        QTest::newRow(title) << QString::fromLatin1(master) << damage;
    }

private Q_SLOTS:
    void theIndexIsLost_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        const auto with = [](auto function, auto... arguments) {
            return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
        };
        for (const char *name :
             {"end.mp4", "slices.mp4", "longhevc.mp4", "plain.mov", "sounds.mp4"}) {
            const QByteArray title = name;
            addRow(title + ": index lost", name, with(Damage::lostIndex));
            addRow(title + ": cut at 60 %", name, with(Damage::cutAt, 0.6));
        }
    }

    void theIndexIsLost()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
    }

    /** Sound beside each picture tells when it is shown; behind the last there is none. */
    void changingRates()
    {
        for (const double part : {1.0, 0.6}) {
            const Outcome outcome =
                repair(QStringLiteral("variable.mp4"), [part](const QByteArray &bytes) {
                    return part < 1 ? Damage::cutAt(bytes, part) : Damage::lostIndex(bytes);
                });
            QCOMPARE(outcome.score.recall(), 1.0);
            QCOMPARE(outcome.score.wrong, 0);
            QCOMPARE(outcome.score.misplaced, 0);
            QVERIFY2(outcome.score.mistimed <= 1, textOf(outcome.score));
            QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
        }
    }

    void damagedSpotsCostWhatTheyTouch_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        using Damage::Fill;
        const auto with = [](int count, int size, Fill fill, unsigned seed) {
            return [=](const QByteArray &bytes) {
                return Damage::lostIndexAndBlocks(bytes, count, size, fill, seed);
            };
        };
        for (const char *name : {"end.mp4", "slices.mp4", "longhevc.mp4"}) {
            const QByteArray title = name;
            for (const unsigned seed : {1U, 2U, 3U}) {
                const QByteArray number = QByteArray::number(seed);
                addRow(title + ": 1 x 64 KiB zeroed, " + number, name,
                       with(1, 65536, Fill::Zeros, seed));
                addRow(title + ": 1 x 64 KiB noise, " + number, name,
                       with(1, 65536, Fill::Noise, seed));
                addRow(title + ": 5 x 512 zeroed, " + number, name,
                       with(5, 512, Fill::Zeros, seed));
                addRow(title + ": 5 x 512 noise, " + number, name, with(5, 512, Fill::Noise, seed));
            }
        }
    }

    void damagedSpotsCostWhatTheyTouch()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        QVERIFY2(outcome.score.recall() >= 0.99, textOf(outcome.score));
        QCOMPARE(outcome.score.misplaced, 0);
        QVERIFY2(outcome.score.soundError < 1 / 30.0, textOf(outcome.score));
    }

private:
    QTemporaryDir folder;
    QString outputPath;
};

VELLUMIX_TEST_MAIN(AdvancedRepairTest)

#include "tst_advanced_repair.moc"
