#include "tests/support/MetadataLabels.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QDir>
#include <QLabel>

/** What the window writes into the labels about the current video, where a page has them. */
class MetadataLabelsTest : public TestCase
{
    Q_OBJECT

private:
#ifdef Q_OS_WIN
    const QString path = QStringLiteral("C:/films/broken.mp4");
#else
    const QString path = QStringLiteral("/films/broken.mp4");
#endif
    const QJsonObject known{{QStringLiteral("video_frame_rate"), 29.97},
                            {QStringLiteral("width"), 1920},
                            {QStringLiteral("height"), 1080},
                            {QStringLiteral("bitrate"), 5000000}};

private Q_SLOTS:
    void knownValuesAreShown()
    {
        MainWindow window;
        WindowProbe probe(window);
        const MetadataLabels labels(probe);
        probe.showMetadataLabels(known, path);
        QCOMPARE(labels.frameRate.text(), QStringLiteral("29.970 fps"));
        QCOMPARE(labels.resolution.text(), QStringLiteral("1920x1080"));
        QCOMPARE(labels.file.text(),
                 QDir::toNativeSeparators(path) + QStringLiteral("    Bitrate: 5000000.000"));
    }

    void unknownValuesEmptyTwoLabelsAndKeepTheThird()
    {
        MainWindow window;
        WindowProbe probe(window);
        const MetadataLabels labels(probe);
        probe.showMetadataLabels({}, path);
        QCOMPARE(labels.frameRate.text(), QString());
        QCOMPARE(labels.resolution.text(), QString());
        QCOMPARE(labels.file.text(), QStringLiteral("before"));
    }

    void aLabelIsWrittenForEachAnswer()
    {
        MainWindow window;
        WindowProbe probe(window);
        const MetadataLabels labels(probe);
        probe.showMetadataLabels(known, path);
        probe.showMetadataLabels({{QStringLiteral("frame_rate"), QStringLiteral("25")}}, path);
        QCOMPARE(labels.frameRate.text(), QStringLiteral("25 fps"));
        QCOMPARE(labels.resolution.text(), QString());
        QCOMPARE(labels.file.text(),
                 QDir::toNativeSeparators(path) + QStringLiteral("    Bitrate: 5000000.000"));
    }

    void theFileIsNamedByItsAbsolutePath()
    {
        MainWindow window;
        WindowProbe probe(window);
        const MetadataLabels labels(probe);
        probe.showMetadataLabels(known, QStringLiteral("broken.mp4"));
        QCOMPARE(labels.file.text(), QDir::toNativeSeparators(QDir::current().absoluteFilePath(
                                         QStringLiteral("broken.mp4"))) +
                                         QStringLiteral("    Bitrate: 5000000.000"));
    }

    void missingLabelsAreSkipped_data()
    {
        QTest::addColumn<int>("present");
        QTest::newRow("none") << -1;
        QTest::newRow("frame rate alone") << 0;
        QTest::newRow("resolution alone") << 1;
        QTest::newRow("file alone") << 2;
    }

    void missingLabelsAreSkipped()
    {
        QFETCH(const int, present);
        MainWindow window;
        WindowProbe probe(window);
        QCOMPARE(probe.frameRateLabel(), nullptr);
        QCOMPARE(probe.resolutionLabel(), nullptr);
        QCOMPARE(probe.fileLabel(), nullptr);
        QLabel label;
        if (present == 0)
            probe.frameRateLabel() = &label;
        if (present == 1)
            probe.resolutionLabel() = &label;
        if (present == 2)
            probe.fileLabel() = &label;
        probe.showMetadataLabels(known, path);
        const QStringList expected{QStringLiteral("29.970 fps"), QStringLiteral("1920x1080"),
                                   QDir::toNativeSeparators(path) +
                                       QStringLiteral("    Bitrate: 5000000.000")};
        QCOMPARE(label.text(), expected.value(present));
    }
};

VELLUMIX_WINDOW_TEST_MAIN(MetadataLabelsTest)

#include "tst_metadata_labels.moc"
