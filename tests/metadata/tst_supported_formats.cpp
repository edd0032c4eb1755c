#include "metadata/MetadataText.h"
#include "metadata/SupportedFormats.h"
#include "tests/support/TestCase.h"

#include <QRegularExpression>

/** The list of known formats and the dialogs' filters. */
class SupportedFormatsTest : public TestCase
{
    Q_OBJECT

private:
    /** A dialog's patterns of its first entry, without "*.". */
    static QStringList extensionsOf(const QString &filter)
    {
        static const QRegularExpression pattern(QStringLiteral("\\*\\.([a-z0-9]+)"));
        QStringList extensions;
        auto matches = pattern.globalMatch(filter.section(QStringLiteral(";;"), 0, 0));
        while (matches.hasNext())
            extensions.append(matches.next().captured(1));
        return extensions;
    }

private Q_SLOTS:
    void theListAndItsOrder()
    {
        const QStringList expected{
            QStringLiteral("mp4"),  QStringLiteral("mov"),  QStringLiteral("avi"),
            QStringLiteral("mkv"),  QStringLiteral("mpg"),  QStringLiteral("wmv"),
            QStringLiteral("3gp"),  QStringLiteral("rsv"),  QStringLiteral("mts"),
            QStringLiteral("ts"),   QStringLiteral("dat"),  QStringLiteral("flv"),
            QStringLiteral("m4v"),  QStringLiteral("webm"), QStringLiteral("m2ts"),
            QStringLiteral("swf"),  QStringLiteral("mpeg"), QStringLiteral("mxf"),
            QStringLiteral("rmvb"), QStringLiteral("insv"), QStringLiteral("3g2"),
            QStringLiteral("rm"),   QStringLiteral("klv"),  QStringLiteral("aep")};
        QCOMPARE(expected.size(), 24);
        QCOMPARE(supportedExtensions(), expected);
    }

    void theListIsMadeOnce() { QCOMPARE(&supportedExtensions(), &supportedExtensions()); }

    void everyListedExtensionIsSupported()
    {
        for (const QString &extension : supportedExtensions()) {
            QVERIFY2(isSupportedFormat(QStringLiteral("clip.") + extension), qPrintable(extension));
            QVERIFY2(isSupportedFormat(QStringLiteral("/a/CLIP.") + extension.toUpper()),
                     qPrintable(extension));
        }
    }

    void supported_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("expected");
        QTest::newRow("capitals") << QStringLiteral("VIDEO.MOV") << true;
        QTest::newRow("small") << QStringLiteral("video.mov") << true;
        QTest::newRow("mixed") << QStringLiteral("clip.backup.Mp4") << true;
        QTest::newRow("last suffix") << QStringLiteral("archive.tar.rmvb") << true;
        QTest::newRow("not the first suffix") << QStringLiteral("clip.mp4.zip") << false;
        QTest::newRow("blank at the end") << QStringLiteral("video.mov ") << false;
        QTest::newRow("blank before") << QStringLiteral("video. mov") << false;
        QTest::newRow("no dot") << QStringLiteral("mp4") << false;
        QTest::newRow("dot in the folder") << QStringLiteral("/a.mp4/clip") << false;
        QTest::newRow("dot at the end") << QStringLiteral("clip.mp4.") << false;
        QTest::newRow("only a suffix") << QStringLiteral("/a/.mp4") << true;
        QTest::newRow("part of an extension") << QStringLiteral("clip.mp") << false;
        QTest::newRow("longer") << QStringLiteral("clip.mp44") << false;
        QTest::newRow("asf") << QStringLiteral("clip.asf") << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("missing file") << QStringLiteral("/nowhere/at/all.ts") << true;
    }

    void supported()
    {
        QFETCH(const QString, path);
        QFETCH(const bool, expected);
        QCOMPARE(isSupportedFormat(path), expected);
    }

    void unsupportedNamesKeepTheirOrder()
    {
        QCOMPARE(
            unsupportedFileNames({QStringLiteral("/b/z.txt"), QStringLiteral("/a/clip.MP4"),
                                  QStringLiteral("/a/y.asf"), QStringLiteral("/c/z.txt"),
                                  QStringLiteral("/a/film.mov "), QStringLiteral("/d/bare")}),
            (QStringList{QStringLiteral("z.txt"), QStringLiteral("y.asf"), QStringLiteral("z.txt"),
                         QStringLiteral("film.mov "), QStringLiteral("bare")}));
        QCOMPARE(unsupportedFileNames({QStringLiteral("/a/clip.mp4")}), QStringList());
        QCOMPARE(unsupportedFileNames({}), QStringList());
    }

    void importFilterText()
    {
        QCOMPARE(importFilter(),
                 QStringLiteral("Video files (*.mp4 *.mov *.avi *.mkv *.mpg *.wmv *.3gp *.rsv "
                                "*.mts *.ts *.dat *.flv *.m4v *.webm *.m2ts *.swf *.mpeg *.mxf "
                                "*.rmvb *.insv *.3g2 *.rm *.klv *.aep);;All files (*.*)"));
        QCOMPARE(extensionsOf(importFilter()), supportedExtensions());
    }

    void sampleFilterText()
    {
        QCOMPARE(sampleFilter(),
                 QStringLiteral("Video files (*.mp4 *.mov *.m4v *.3gp *.3g2 *.insv *.wmv *.asf "
                                "*.avi *.mkv *.flv *.mts *.m2ts *.mpeg *.mpg);;All files (*.*)"));
    }

    void asfIsASampleButNotAKnownFormat()
    {
        QVERIFY(extensionsOf(sampleFilter()).contains(QStringLiteral("asf")));
        QVERIFY(!supportedExtensions().contains(QStringLiteral("asf")));
        QCOMPARE(unsupportedFileNames({QStringLiteral("/a/clip.ASF")}),
                 QStringList{QStringLiteral("clip.ASF")});
    }

    void formatsThatAreNoSamples()
    {
        QStringList missing;
        for (const QString &extension : supportedExtensions()) {
            if (!extensionsOf(sampleFilter()).contains(extension))
                missing.append(extension);
        }
        QCOMPARE(missing,
                 (QStringList{QStringLiteral("rsv"), QStringLiteral("ts"), QStringLiteral("dat"),
                              QStringLiteral("webm"), QStringLiteral("swf"), QStringLiteral("mxf"),
                              QStringLiteral("rmvb"), QStringLiteral("rm"), QStringLiteral("klv"),
                              QStringLiteral("aep")}));
    }
};

VELLUMIX_TEST_MAIN(SupportedFormatsTest)

#include "tst_supported_formats.moc"
