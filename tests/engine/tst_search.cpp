#include "engine/advanced/SampleProfile.h"
#include "engine/iso/BoxSearch.h"
#include "tests/corpus/Masters.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <random>

namespace {

/** Without a byte that the name of a searched box could begin with. */
QByteArray noise(qsizetype size)
{
    std::mt19937 generator(1);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(generator() & 0x9fU);
    return bytes;
}

QByteArray fragmentHeader()
{
    return QByteArray("\0\0\0\x18moof\0\0\0\x10mfhd\0\0\0\0\0\0\0\1", 24);
}

} // namespace

/** What is searched for is found at every place, however many bytes are looked at at once. */
class SearchTest : public TestCase
{
    Q_OBJECT

    QTemporaryDir folder;

    std::vector<Box> fragmentsOf(const QByteArray &bytes) const
    {
        const QString path = folder.filePath(QStringLiteral("searched.mp4"));
        writeFile(path, bytes);
        return findStructure(SourceFile(path.toStdString())).fragments;
    }

private Q_SLOTS:
    /** Around the places where a window of the search ends, and at every place within a block. */
    void aBoxIsFoundWhereverItStands()
    {
        constexpr qsizetype window = 256 << 10;
        constexpr qsizetype around = 70;
        const QByteArray before = noise(2 * window);
        for (const qsizetype border : {around, window, 2 * window - around}) {
            for (qsizetype place = border - around + 8; place < border + around; ++place) {
                QByteArray bytes = before;
                bytes.replace(place, fragmentHeader().size(), fragmentHeader());
                const std::vector<Box> found = fragmentsOf(bytes);
                QCOMPARE(found.size(), std::size_t{1});
                QCOMPARE(found.front().offset, static_cast<std::uint64_t>(place));
            }
        }
    }

    void nothingIsFoundInNoise() { QVERIFY(fragmentsOf(noise(1 << 20)).empty()); }

    /** The end of a file may be the end of a box. */
    void aBoxIsFoundAtTheVeryEnd()
    {
        for (qsizetype size = 100; size < 170; ++size) {
            const std::vector<Box> found = fragmentsOf(noise(size) + fragmentHeader());
            QCOMPARE(found.size(), std::size_t{1});
            QCOMPARE(found.front().offset, static_cast<std::uint64_t>(size));
        }
    }

    void placesWhereAPictureMayBegin_data()
    {
        QTest::addColumn<QString>("recording");
        for (const char *name : {"end.mp4", "longhevc.mp4", "pictures.mov"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    /** Searched for at once, they are those that are found by looking at each place. */
    void placesWhereAPictureMayBegin()
    {
        QFETCH(QString, recording);
        constexpr int seconds = 10;
        const QString path = makeMaster(masterNamed(recording), seconds, Scene::Sample);
        const auto sample = learnSample(path.toStdString());
        QByteArray media = readFile(path).left(1 << 20);
        media += noise(4096) + QByteArray(4096, '\0') + noise(4096);
        const auto *bytes = reinterpret_cast<const std::uint8_t *>(media.constData());
        const auto count = static_cast<std::size_t>(media.size()) - VideoRecogniser::startSize;
        std::size_t found = 0;
        for (std::size_t place = 0; place < count; ++place) {
            const std::size_t next =
                place + sample->pictures->findStart(bytes + place, count - place);
            for (; place < next; ++place)
                QVERIFY(!sample->pictures->mayBegin(bytes + place));
            if (next == count)
                break;
            QVERIFY(sample->pictures->mayBegin(bytes + next));
            ++found;
        }
        QVERIFY(found > 0);
    }
};

VELLUMIX_TEST_MAIN(SearchTest)

#include "tst_search.moc"
