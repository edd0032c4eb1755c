#include "metadata/ParameterComparison.h"
#include "tests/support/TestCase.h"

/** Which texts stand beside each other in a comparison, and which of them differ. */
class ParameterComparisonTest : public TestCase
{
    Q_OBJECT

private:
    /** "PARAMETER|DAMAGED|SAMPLE", with "!" where the sample differs. */
    static QStringList texts(const QJsonObject &damaged, const QString &damagedPath,
                             const QJsonObject &sample, const QString &samplePath)
    {
        QStringList lines;
        for (const ComparisonRow &row : comparisonRows(damaged, damagedPath, sample, samplePath))
            lines.append(QStringList{row.parameter, row.damaged, row.sample}.join(u'|') +
                         (row.isMismatch() ? QStringLiteral("!") : QString()));
        return lines;
    }

private Q_SLOTS:
    void allParametersInOrder()
    {
        const QJsonObject damaged{{QStringLiteral("codec"), QStringLiteral("h264")},
                                  {QStringLiteral("make"), QStringLiteral("Acme")},
                                  {QStringLiteral("model"), QStringLiteral("One")},
                                  {QStringLiteral("video_avg_bitrate"), 5000000},
                                  {QStringLiteral("video_frame_rate"), 29.97},
                                  {QStringLiteral("width"), 1920},
                                  {QStringLiteral("height"), 1080}};
        const QJsonObject sample{{QStringLiteral("video_codec"), 2},
                                 {QStringLiteral("manufacture"), QStringLiteral("Acme")},
                                 {QStringLiteral("device"), QStringLiteral("Two")},
                                 {QStringLiteral("bitrate"), QStringLiteral("5 Mbit")},
                                 {QStringLiteral("frame_rate"), QStringLiteral("29.970")},
                                 {QStringLiteral("resolution"), QStringLiteral("1920x1080")}};
        QCOMPARE(
            texts(damaged, QStringLiteral("/a/CLIP.MOV"), sample, QStringLiteral("/b/clip.mp4")),
            (QStringList{QStringLiteral("Format|.mov|.mp4!"), QStringLiteral("Codec|h264|h265!"),
                         QStringLiteral("Manufacturer|Acme|Acme"),
                         QStringLiteral("Device|One|Two!"),
                         QStringLiteral("Bitrate|5000000.000|5 Mbit!"),
                         QStringLiteral("Frame Rate|29.970|29.970"),
                         QStringLiteral("Resolution|1920x1080|1920x1080")}));
    }

    void theSuffixCountsInLowerCase()
    {
        const ComparisonRow format =
            comparisonRows({}, QStringLiteral("/a/CLIP.MP4"), {}, QStringLiteral("/b/clip.mp4"))
                .first();
        QCOMPARE(format, (ComparisonRow{QStringLiteral("Format"), QStringLiteral(".mp4"),
                                        QStringLiteral(".mp4")}));
        QVERIFY(!format.isMismatch());
    }

    void whatIsNotKnownInTheSampleIsNoMismatch()
    {
        const QString known = QStringLiteral("h264");
        const QString unknown = QStringLiteral("/");
        QVERIFY((ComparisonRow{{}, unknown, known}.isMismatch()));
        QVERIFY(!(ComparisonRow{{}, known, unknown}.isMismatch()));
        QVERIFY(!(ComparisonRow{{}, unknown, unknown}.isMismatch()));
        QVERIFY((ComparisonRow{{}, QStringLiteral("H264"), known}.isMismatch()));
    }

    void withoutMetadataAllButTheFormatIsUnknown()
    {
        QCOMPARE(texts({}, QStringLiteral("/a/clip"), {}, QStringLiteral("/b/clip.mkv")),
                 (QStringList{QStringLiteral("Format|/|.mkv!"), QStringLiteral("Codec|/|/"),
                              QStringLiteral("Manufacturer|/|/"), QStringLiteral("Device|/|/"),
                              QStringLiteral("Bitrate|/|/"), QStringLiteral("Frame Rate|/|/"),
                              QStringLiteral("Resolution|/|/")}));
    }
};

VELLUMIX_TEST_MAIN(ParameterComparisonTest)

#include "tst_parameter_comparison.moc"
