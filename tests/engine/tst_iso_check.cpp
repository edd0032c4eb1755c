#include "engine/EngineError.h"
#include "engine/iso/IsoCheck.h"
#include "engine/iso/IsoReader.h"
#include "engine/iso/IsoWriter.h"
#include "tests/corpus/Masters.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <functional>

namespace {

constexpr int masterSeconds = 8;

ByteView viewOf(const QByteArray &bytes)
{
    return {reinterpret_cast<const std::uint8_t *>(bytes.constData()),
            static_cast<std::size_t>(bytes.size())};
}

/** A number of four bytes, a little larger than it was. */
void raise(QByteArray &bytes, qsizetype place)
{
    char *field = bytes.data() + place;
    const std::uint32_t value = be32(reinterpret_cast<const std::uint8_t *>(field)) + 1;
    for (unsigned i = 0; i < 4; ++i)
        field[i] = static_cast<char>(byteOf(value, 3 - i));
}

/** A table of the index: where its first entry is, and how many there are. */
struct TablePlace
{
    qsizetype entries = 0;
    qsizetype count = 0;
};

TablePlace findTable(const QByteArray &file, const char *type, int track)
{
    qsizetype place = file.lastIndexOf("moov");
    for (int i = 0; i <= track; ++i)
        place = file.indexOf("trak", place + 1);
    place = file.indexOf(type, place);
    const qsizetype count = place + (qstrcmp(type, "stsz") == 0 ? 12 : 8);
    return {.entries = count + 4, .count = be32(&viewOf(file)[static_cast<std::size_t>(count)])};
}

/** A packet in the middle of those that are read one by one. */
WrittenPacket &somePacket(WrittenIso &written, std::size_t track)
{
    auto &stretches = written.tracks[track].stretches;
    auto &stretch = stretches[stretches.size() / 2];
    return stretch[stretch.size() / 2];
}

} // namespace

using Change = std::function<void(WrittenIso &)>;
Q_DECLARE_METATYPE(Change)

/** What the check of a written MP4 or QuickTime file tells. */
class IsoCheckTest : public TestCase
{
    Q_OBJECT

    /** Writes a recording anew, at `path`. */
    WrittenIso write(const QString &recordingPath)
    {
        const SourceFile source(recordingPath.toStdString());
        auto recording = readIso(source);
        if (!recording)
            qFatal("%s cannot be read", qPrintable(recordingPath));
        writeFile(path, {});
        return writeIso(source, *recording, path.toStdString());
    }

    /** Has packets between the places where they are read one by one. */
    QString longRecording()
    {
        return made(QStringLiteral("long.mp4"),
                    QStringLiteral("-c:v libx264 -preset superfast -bf 2 -g 40 -c:a aac"), 45);
    }

    QString plainRecording()
    {
        return made(QStringLiteral("plain.mov"),
                    QStringLiteral("-c:v libx264 -preset superfast -c:a pcm_s16le"), masterSeconds);
    }

    QString made(const QString &name, const QString &options, int seconds)
    {
        QString file = folder.filePath(name);
        if (!QFile::exists(file))
            Footage::make(file, options.split(QLatin1Char(' ')), seconds);
        return file;
    }

    ErrorCode check(const WrittenIso &written) const
    {
        try {
            checkIso(path.toStdString(), written);
        } catch (const EngineError &error) {
            return error.code();
        }
        return ErrorCode::None;
    }

    /** The same of a file that has been changed, as if it had been written so. */
    ErrorCode checkAsWritten(WrittenIso written, const QByteArray &file) const
    {
        writeFile(path, file);
        const ByteView body = viewOf(file).subspan(written.head.size());
        written.bodyHashes = {hashOf(body)};
        return check(written);
    }

    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("written.mp4"));

private Q_SLOTS:
    void soundFiles_data()
    {
        QTest::addColumn<QByteArray>("name");
        for (const char *name : {"end.mp4", "fragments.mp4", "hevc.mp4", "sounds.mp4", "plain.mov",
                                 "plain24.mov", "pictures.mov", "variable.mp4"})
            QTest::newRow(name) << QByteArray(name);
    }

    void soundFiles()
    {
        QFETCH(QByteArray, name);
        const WrittenIso written =
            write(makeMaster(masterNamed(QString::fromLatin1(name)), masterSeconds));
        QCOMPARE(check(written), ErrorCode::None);
        QVERIFY(written.tracks.size() >= 2);
        for (const WrittenTrack &track : written.tracks)
            QVERIFY(!track.stretches.empty());
    }

    /** Of a longer file, not every packet is read by itself. */
    void longFile()
    {
        const WrittenIso written = write(longRecording());
        QCOMPARE(check(written), ErrorCode::None);
        QCOMPARE(written.tracks.size(), std::size_t{2});
        for (const WrittenTrack &track : written.tracks) {
            std::size_t read = 0;
            for (const auto &stretch : track.stretches)
                read += stretch.size();
            QVERIFY(read > 900 && read < track.packets);
            QCOMPARE(track.stretches.front().front().number, std::uint64_t{0});
            QCOMPARE(track.stretches.back().back().number, track.packets - 1);
        }
    }

    void everyByte_data()
    {
        QTest::addColumn<QString>("recording");
        QTest::newRow("frames of sound") << longRecording();
        QTest::newRow("plain sound") << plainRecording();
    }

    void everyByte()
    {
        QFETCH(QString, recording);
        const WrittenIso written = write(recording);
        const QByteArray file = readFile(path);
        constexpr qsizetype places = 80;
        for (qsizetype i = 0; i <= places; ++i) {
            const qsizetype place = (file.size() - 1) * i / places;
            QByteArray flipped = file;
            flipped[place] = static_cast<char>(flipped[place] ^ 0x10);
            writeFile(path, flipped);
            QVERIFY2(check(written) == ErrorCode::OutputNotSound,
                     qPrintable(QStringLiteral("byte %1 of %2").arg(place).arg(file.size())));
        }
    }

    void anotherLength_data()
    {
        QTest::addColumn<int>("change");
        QTest::newRow("last byte gone") << -1;
        QTest::newRow("end of the index gone") << -5000;
        QTest::newRow("index and media gone") << -1000000;
        QTest::newRow("a byte more") << 1;
    }

    void anotherLength()
    {
        QFETCH(int, change);
        const WrittenIso written = write(longRecording());
        const QByteArray file = readFile(path);
        writeFile(path, change > 0 ? file + '\0' : file.chopped(-change));
        QCOMPARE(check(written), ErrorCode::OutputNotSound);
    }

    void wrongTables_data()
    {
        QTest::addColumn<QByteArray>("table");
        QTest::addColumn<int>("track");
        QTest::addColumn<int>("entrySize");
        QTest::addColumn<int>("field");
        QTest::newRow("duration of a picture") << QByteArray("stts") << 0 << 8 << 4;
        QTest::newRow("duration of sound") << QByteArray("stts") << 1 << 8 << 4;
        QTest::newRow("time shown") << QByteArray("ctts") << 0 << 8 << 4;
        QTest::newRow("key picture") << QByteArray("stss") << 0 << 4 << 0;
        QTest::newRow("size of a picture") << QByteArray("stsz") << 0 << 4 << 0;
        QTest::newRow("size of sound") << QByteArray("stsz") << 1 << 4 << 0;
        QTest::newRow("place of pictures") << QByteArray("stco") << 0 << 4 << 0;
        QTest::newRow("place of sound") << QByteArray("stco") << 1 << 4 << 0;
        QTest::newRow("pictures in a chunk") << QByteArray("stsc") << 0 << 12 << 4;
    }

    /** An index that was made wrong is told even though all bytes read back as written. */
    void wrongTables()
    {
        QFETCH(QByteArray, table);
        QFETCH(int, track);
        QFETCH(int, entrySize);
        QFETCH(int, field);
        const WrittenIso written = write(longRecording());
        const QByteArray file = readFile(path);
        const TablePlace place = findTable(file, table.constData(), track);
        QVERIFY(place.count > 0);
        // An entry at the start, some between, the last.
        for (const qsizetype part : {0, 3, 5, 8}) {
            const qsizetype entry = (place.count - 1) * part / 8;
            // How long the last packet lasts is no other's time, and that a chunk could hold more
            // than there are, no reader minds.
            if (part == 8 && place.count > 1 && (table == "stts" || table == "stsc"))
                continue;
            QByteArray wrong = file;
            raise(wrong, place.entries + entry * entrySize + field);
            QVERIFY2(checkAsWritten(written, wrong) == ErrorCode::OutputNotSound,
                     qPrintable(QStringLiteral("entry %1 of %2").arg(entry).arg(place.count)));
        }
        QCOMPARE(checkAsWritten(written, file), ErrorCode::None);
    }

    void wrongPlaceOfPlainSound()
    {
        const WrittenIso written = write(plainRecording());
        QByteArray file = readFile(path);
        const TablePlace place = findTable(file, "stco", 1);
        QVERIFY(place.count > 10);
        raise(file, place.entries + place.count / 3 * 4);
        QCOMPARE(checkAsWritten(written, file), ErrorCode::OutputNotSound);
    }

    void readByFfmpeg_data()
    {
        QTest::addColumn<Change>("change");
        const auto add = [](const char *name, const Change &change) {
            QTest::newRow(name) << change;
        };
        add("bytes of a picture", [](WrittenIso &file) { ++somePacket(file, 0).hash; });
        add("bytes of sound", [](WrittenIso &file) { ++somePacket(file, 1).hash; });
        add("time of a picture", [](WrittenIso &file) { ++somePacket(file, 0).shown; });
        add("time of sound", [](WrittenIso &file) { ++somePacket(file, 1).shown; });
        add("size", [](WrittenIso &file) { ++somePacket(file, 1).size; });
        add("place", [](WrittenIso &file) { ++somePacket(file, 1).offset; });
        add("places", [](WrittenIso &file) { ++file.tracks[0].placeHash; });
        add("key picture", [](WrittenIso &file) {
            for (auto &stretch : file.tracks[0].stretches) {
                for (WrittenPacket &packet : stretch)
                    packet.isKey = true;
            }
        });
        add("another track", [](WrittenIso &file) { file.tracks.emplace_back().packets = 1; });
    }

    /** What was put in and what FFmpeg reads at the places where it reads are compared. */
    void readByFfmpeg()
    {
        QFETCH(Change, change);
        WrittenIso written = write(longRecording());
        QCOMPARE(check(written), ErrorCode::None);
        change(written);
        QCOMPARE(check(written), ErrorCode::OutputNotSound);
    }

    void picturesThatCannotBeDecoded()
    {
        WrittenIso written = write(longRecording());
        QByteArray file = readFile(path);
        for (auto &stretch : written.tracks[0].stretches) {
            for (WrittenPacket &packet : stretch) {
                QByteArray noise(static_cast<qsizetype>(packet.size), '\x55');
                packet.hash = hashOf(viewOf(noise));
                file.replace(static_cast<qsizetype>(packet.offset), noise.size(), noise);
            }
        }
        QCOMPARE(checkAsWritten(written, file), ErrorCode::NothingReadable);
    }
};

VELLUMIX_TEST_MAIN(IsoCheckTest)

#include "tst_iso_check.moc"
