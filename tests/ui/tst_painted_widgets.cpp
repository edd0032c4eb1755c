#include "tests/support/TestCase.h"
#include "ui/StyleSheet.h"
#include "ui/ThumbWidget.h"
#include "ui/UploadGraphic.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <cmath>

namespace {

/**
 * Builds of the painting code differ by rounding where edges are blended and colours run into each
 * other. Anything that a person could tell from the reference differs by far more.
 */
constexpr int tolerance = 2;

/** What a widget paints by itself: nothing lies behind it. */
QImage rendered(QWidget &widget, double ratio)
{
    QImage image(QSize(static_cast<int>(std::ceil(widget.width() * ratio)),
                       static_cast<int>(std::ceil(widget.height() * ratio))),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image.convertToFormat(QImage::Format_ARGB32);
}

/** Premultiplied, so that the colour of what can hardly be seen hardly counts. */
int largestDifference(QRgb one, QRgb other)
{
    const QRgb a = qPremultiply(one);
    const QRgb b = qPremultiply(other);
    return qMax(qMax(std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b))),
                qMax(std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))));
}

int largestDifference(const QImage &a, const QImage &b)
{
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            largest = qMax(largest, largestDifference(a.pixel(x, y), b.pixel(x, y)));
        }
    }
    return largest;
}

QString shown(QRgb colour)
{
    return QStringLiteral("(%1, %2, %3, %4)")
        .arg(qRed(colour))
        .arg(qGreen(colour))
        .arg(qBlue(colour))
        .arg(qAlpha(colour));
}

double mix(double from, double to, double part)
{
    return from + (to - from) * part;
}

QColor mix(const QColor &from, const QColor &to, double part)
{
    const auto channel = [part](int a, int b) { return qRound(mix(a, b, part)); };
    return {channel(from.red(), to.red()), channel(from.green(), to.green()),
            channel(from.blue(), to.blue())};
}

/** How far a pixel's centre lies along the way from one corner of a rectangle to the other. */
double along(const QRectF &area, const QPoint &pixel)
{
    const QPointF way = area.bottomRight() - area.topLeft();
    const QPointF point = QPointF(pixel) + QPointF(0.5, 0.5) - area.topLeft();
    return QPointF::dotProduct(point, way) / QPointF::dotProduct(way, way);
}

/** The gradient of the graphic's back card. */
QColor backCard(const QPoint &pixel)
{
    return mix(QColor(42, 214, 233), QColor(25, 125, 255), along(QRectF(26, 38, 108, 72), pixel));
}

/** The front card's opacity, from 0 to 1. */
double frontCard(const QPoint &pixel)
{
    return mix(150, 40, (pixel.y() + 0.5 - 8) / 96) / 255;
}

/** The gradient of the placeholder's sky. */
QColor sky(const QPoint &pixel)
{
    return mix(QColor(130, 224, 255), QColor(29, 132, 190), along(QRectF(0, 0, 123, 99), pixel));
}

QColor white(double opacity)
{
    return {255, 255, 255, qRound(opacity * 255)};
}

/** A colour behind the placeholder's dark circle. */
QColor darkened(const QColor &colour)
{
    return mix(colour, Qt::black, 110.0 / 255);
}

/** A colour behind the middle of a thumbnail's rim, which covers half of the pixel. */
QColor underTheRim(const QColor &colour)
{
    return mix(colour, Qt::white, 70.0 / 255 / 2);
}

const QColor marginColour(20, 160, 40);
const QColor middleColour(200, 40, 90);
const QColor markColour(30, 30, 220);

/** A picture with a margin of a tenth of each side, and a mark in the upper left. */
QImage framedPicture(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(marginColour);
    QPainter painter(&image);
    const int x = size.width() / 10;
    const int y = size.height() / 10;
    painter.fillRect(QRect(x, y, size.width() - 2 * x, size.height() - 2 * y), middleColour);
    painter.fillRect(QRect(2 * x, 2 * y, 2 * x, 2 * y), markColour);
    return image;
}

} // namespace

/** The widgets that paint themselves, by their pixels. */
class PaintedWidgetsTest : public TestCase
{
    Q_OBJECT

private:
    QTemporaryDir folder;

    QString pictureFile(const QString &name, const QImage &image) const
    {
        QString path = folder.filePath(name);
        if (!image.save(path))
            qWarning("no picture %s", qPrintable(path));
        return path;
    }

    static QString writtenFile(const QString &path, const QByteArray &content)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qWarning("no file %s", qPrintable(path));
        return path;
    }

    /** A picture of one colour; files of equal sizes have equally many bytes. */
    QString plainFile(const QString &name, const QColor &colour) const
    {
        QImage image(40, 40, QImage::Format_RGB32);
        image.fill(colour);
        return pictureFile(name, image);
    }

    static void comparePixel(const QImage &image, const QPoint &pixel, const QColor &expected)
    {
        const QRgb actual = image.pixel(pixel);
        const QString message = QStringLiteral("at %1, %2: %3 instead of %4")
                                    .arg(pixel.x())
                                    .arg(pixel.y())
                                    .arg(shown(actual), shown(expected.rgba()));
        QVERIFY2(largestDifference(actual, expected.rgba()) <= tolerance, qPrintable(message));
    }

    /** How a picture departs from the reference; empty when it does not. */
    static QString departure(const QImage &image, const QImage &reference)
    {
        if (reference.isNull())
            return QStringLiteral("is missing");
        if (reference.size() != image.size())
            return QStringLiteral("has another size");
        const int difference = largestDifference(image, reference);
        return difference <= tolerance ? QString()
                                       : QStringLiteral("differs by up to %1").arg(difference);
    }

    /** Leaves the picture in the working directory when it is not the reference. */
    static void compareWithReference(const QImage &image, const QString &name)
    {
        const QString path = QStringLiteral(VELLUMIX_REFERENCES "/") + name;
        const QString what = departure(image, QImage(path));
        if (what.isEmpty())
            return;
        const QString actual = QDir::current().absoluteFilePath(QStringLiteral("actual_") + name);
        const QString kept = image.save(actual) ? actual : QStringLiteral("(not written)");
        QFAIL(qPrintable(QStringLiteral("%1 %2; painted now: %3").arg(path, what, kept)));
    }

    static bool isPlaceholder(const QString &path)
    {
        ThumbWidget thumb(path);
        ThumbWidget placeholder{QString()};
        return rendered(thumb, 1) == rendered(placeholder, 1);
    }

private Q_SLOTS:
    void sizesAndNames()
    {
        const UploadGraphic graphic;
        QCOMPARE(graphic.minimumSize(), QSize(150, 130));
        QCOMPARE(graphic.maximumSize(), QSize(150, 130));
        const ThumbWidget thumb{QString()};
        QCOMPARE(thumb.minimumSize(), QSize(124, 100));
        QCOMPARE(thumb.maximumSize(), QSize(124, 100));
        QCOMPARE(thumb.objectName(), QStringLiteral("Thumb"));
    }

    /** Run once for each scale of a screen. */
    void references()
    {
        UploadGraphic graphic;
        const double ratio = graphic.devicePixelRatioF();
        const QString end = QStringLiteral("_%1.png").arg(ratio);
        compareWithReference(rendered(graphic, ratio), QStringLiteral("upload_graphic") + end);
        ThumbWidget placeholder{QString()};
        compareWithReference(rendered(placeholder, ratio),
                             QStringLiteral("thumb_placeholder") + end);
        ThumbWidget square(pictureFile(QStringLiteral("square.png"), framedPicture({120, 120})));
        compareWithReference(rendered(square, ratio), QStringLiteral("thumb_square") + end);
        ThumbWidget wide(pictureFile(QStringLiteral("wide.png"), framedPicture({640, 360})));
        compareWithReference(rendered(wide, ratio), QStringLiteral("thumb_wide") + end);
    }

    void graphicIsTheSameAtEveryPaint()
    {
        UploadGraphic graphic;
        const QImage first = rendered(graphic, 1);
        QCOMPARE(rendered(graphic, 1), first);
        UploadGraphic other;
        QCOMPARE(rendered(other, 1), first);
    }

    void graphicLeavesItsSurroundingsFree()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        const QRect painted(26, 7, 124, 118);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (!painted.contains(x, y))
                    comparePixel(image, {x, y}, Qt::transparent);
            }
        }
        // Rounded corners: of the back card to the left below, of the front card to the right
        // above.
        comparePixel(image, {26, 109}, Qt::transparent);
        comparePixel(image, {144, 7}, Qt::transparent);
        // Painted up to the badge's right edge and its lower one.
        QVERIFY(qAlpha(image.pixel(149, 100)) > 200);
        QVERIFY(qAlpha(image.pixel(126, 123)) > 200);
    }

    void graphicsBackCard()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        // Left of the front card and below it: nothing else lies there.
        for (const QPoint &pixel : {QPoint(27, 50), QPoint(30, 70), QPoint(30, 100), QPoint(34, 44),
                                    QPoint(60, 107), QPoint(95, 108)})
            comparePixel(image, pixel, backCard(pixel));
    }

    void graphicsFrontCard()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        for (const QPoint &pixel :
             {QPoint(60, 12), QPoint(90, 20), QPoint(120, 36), QPoint(140, 60)}) {
            comparePixel(image, pixel, white(frontCard(pixel)));
        }
        // The back card shows through.
        for (const QPoint &pixel : {QPoint(50, 60), QPoint(70, 95), QPoint(120, 50)})
            comparePixel(image, pixel, mix(backCard(pixel), Qt::white, frontCard(pixel)));
    }

    void graphicsFrontCardHasAnOutline()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        // One pixel wide around the edge at 40: half of it in the pixel outside of the card.
        comparePixel(image, {39, 25}, white(60.0 / 255));
        comparePixel(image, {38, 25}, Qt::transparent);
        const double inside = 1 - (1 - frontCard({40, 25})) * (1 - 60.0 / 255);
        comparePixel(image, {40, 25}, white(inside));
    }

    void graphicsPlayGlyph()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        for (const QPoint &pixel :
             {QPoint(81, 48), QPoint(81, 72), QPoint(90, 60), QPoint(103, 60)})
            comparePixel(image, pixel, Qt::white);
        for (const QPoint &pixel :
             {QPoint(78, 60), QPoint(107, 60), QPoint(100, 50), QPoint(100, 70)})
            comparePixel(image, pixel, mix(backCard(pixel), Qt::white, frontCard(pixel)));
    }

    void graphicsBadge()
    {
        const QColor blue(66, 137, 255);
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 1);
        // The ring reaches from 19.5 to 24.5 around (126, 100).
        for (const QPoint &pixel :
             {QPoint(147, 100), QPoint(104, 99), QPoint(126, 78), QPoint(125, 121)})
            comparePixel(image, pixel, blue);
        for (const QPoint &pixel : {QPoint(125, 99), QPoint(126, 91), QPoint(126, 108),
                                    QPoint(117, 100), QPoint(134, 100)})
            comparePixel(image, pixel, blue);
        for (const QPoint &pixel : {QPoint(132, 92), QPoint(119, 92), QPoint(132, 107),
                                    QPoint(119, 107), QPoint(126, 85), QPoint(141, 100)})
            comparePixel(image, pixel, Qt::white);
    }

    void graphicsPlusHasRoundEnds()
    {
        UploadGraphic graphic;
        const QImage image = rendered(graphic, 4);
        // In quarters: beyond the end at 135, inside and outside of a half circle around it.
        comparePixel(image, {136 * 4 + 2, 100 * 4}, QColor(66, 137, 255));
        comparePixel(image, {549, 392}, Qt::white);
        comparePixel(image, {549, 407}, Qt::white);
    }

    void placeholderSky()
    {
        ThumbWidget thumb{QString()};
        const QImage image = rendered(thumb, 1);
        // Also along the edge: there is no rim.
        for (const QPoint &pixel :
             {QPoint(10, 10), QPoint(10, 90), QPoint(110, 10), QPoint(112, 90), QPoint(60, 0),
              QPoint(0, 50), QPoint(122, 50), QPoint(60, 98)})
            comparePixel(image, pixel, sky(pixel));
    }

    void placeholderKeepsTheLastPixelsFree()
    {
        ThumbWidget thumb{QString()};
        const QImage image = rendered(thumb, 1);
        for (const QPoint &pixel : {QPoint(0, 0), QPoint(122, 0), QPoint(0, 98), QPoint(122, 98),
                                    QPoint(123, 50), QPoint(60, 99), QPoint(123, 99)})
            comparePixel(image, pixel, Qt::transparent);
    }

    void placeholderShapes()
    {
        const QColor yellow(246, 210, 67);
        const QColor red(190, 24, 34);
        ThumbWidget thumb{QString()};
        const QImage image = rendered(thumb, 1);
        comparePixel(image, {38, 60}, yellow);
        comparePixel(image, {55, 76}, yellow);
        comparePixel(image, {78, 27}, red);
        comparePixel(image, {52, 60}, darkened(yellow));
        comparePixel(image, {80, 40}, darkened(red));
        comparePixel(image, {86, 60}, darkened(sky({86, 60})));
        for (const QPoint &pixel : {QPoint(62, 46), QPoint(62, 59), QPoint(66, 53), QPoint(75, 53)})
            comparePixel(image, pixel, Qt::white);
        comparePixel(image, {59, 53}, darkened(yellow));
        comparePixel(image, {72, 60}, darkened(yellow));
    }

    void pictureFillsTheFrameWhateverItsShape_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("square") << QSize(120, 120);
        QTest::newRow("wide") << QSize(640, 360);
        QTest::newRow("high") << QSize(200, 600);
        QTest::newRow("the frame's own") << QSize(124, 100);
        QTest::newRow("small") << QSize(30, 20);
    }

    void pictureFillsTheFrameWhateverItsShape()
    {
        QFETCH(const QSize, size);
        ThumbWidget thumb(pictureFile(QStringLiteral("framed.png"), framedPicture(size)));
        const QImage image = rendered(thumb, 1);
        // The margin is a tenth of the frame's sides, 12.4 and 10 pixels, on all four of them.
        for (const QPoint &pixel : {QPoint(3, 50), QPoint(119, 50), QPoint(62, 3), QPoint(62, 95)})
            comparePixel(image, pixel, marginColour);
        for (const QPoint &pixel :
             {QPoint(17, 50), QPoint(106, 50), QPoint(62, 14), QPoint(62, 85)})
            comparePixel(image, pixel, middleColour);
        comparePixel(image, {37, 30}, markColour);
        comparePixel(image, {30, 25}, markColour);
        comparePixel(image, {44, 35}, markColour);
    }

    void pictureHasAFaintRimAndRoundCorners()
    {
        ThumbWidget thumb(plainFile(QStringLiteral("plain.png"), middleColour));
        const QImage image = rendered(thumb, 1);
        for (const QPoint &pixel : {QPoint(0, 50), QPoint(122, 50), QPoint(60, 0), QPoint(60, 98)})
            comparePixel(image, pixel, underTheRim(middleColour));
        for (const QPoint &pixel : {QPoint(1, 50), QPoint(121, 50), QPoint(60, 1), QPoint(60, 97),
                                    QPoint(3, 3), QPoint(119, 95)})
            comparePixel(image, pixel, middleColour);
        // The rim's other half lies outside of the picture.
        for (const QPoint &pixel : {QPoint(123, 50), QPoint(60, 99)})
            comparePixel(image, pixel, white(35.0 / 255));
        for (const QPoint &pixel : {QPoint(0, 0), QPoint(123, 0), QPoint(0, 99), QPoint(123, 99)})
            comparePixel(image, pixel, Qt::transparent);
    }

    void missingOrBrokenPicturesHaveThePlaceholder()
    {
        const QString whole = plainFile(QStringLiteral("whole.png"), middleColour);
        QVERIFY(!isPlaceholder(whole));
        QVERIFY(isPlaceholder(folder.filePath(QStringLiteral("missing.png"))));
        QVERIFY(isPlaceholder(folder.path()));
        QVERIFY(isPlaceholder(writtenFile(folder.filePath(QStringLiteral("empty.png")), {})));
        QVERIFY(isPlaceholder(
            writtenFile(folder.filePath(QStringLiteral("text.jpg")), "this is no picture")));
        QFile file(whole);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(isPlaceholder(
            writtenFile(folder.filePath(QStringLiteral("start.png")), file.read(12))));
    }

    void pictureWrittenLaterShowsAtTheNextPaint()
    {
        const QString path = folder.filePath(QStringLiteral("later.png"));
        ThumbWidget thumb(path);
        comparePixel(rendered(thumb, 1), {66, 53}, Qt::white);
        plainFile(QStringLiteral("later.png"), middleColour);
        comparePixel(rendered(thumb, 1), {66, 53}, middleColour);
        QVERIFY(QFile::remove(path));
        comparePixel(rendered(thumb, 1), {66, 53}, Qt::white);
    }

    void pictureRewrittenUnnoticeablyShowsAnew()
    {
        const QDateTime time(QDate(2024, 5, 6), QTime(7, 8, 9));
        const QString name = QStringLiteral("again.bmp");
        const auto write = [&](const QColor &colour) {
            QFile file(plainFile(name, colour));
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        };
        write(middleColour);
        const QFileInfo before(folder.filePath(name));
        const qint64 size = before.size();
        ThumbWidget thumb(before.filePath());
        comparePixel(rendered(thumb, 1), {66, 53}, middleColour);
        write(markColour);
        const QFileInfo after(folder.filePath(name));
        QCOMPARE(after.size(), size);
        QCOMPARE(after.lastModified(), time);
        comparePixel(rendered(thumb, 1), {66, 53}, markColour);
        ThumbWidget other(after.filePath());
        comparePixel(rendered(other, 1), {66, 53}, markColour);
    }

    /** Run once for each scale of a screen. */
    void pictureIsAsSharpAsTheScreen()
    {
        const double ratio = ThumbWidget(QString()).devicePixelRatioF();
        QImage stripes((QSizeF(124, 100) * ratio).toSize(), QImage::Format_RGB32);
        for (int x = 0; x < stripes.width(); ++x) {
            for (int y = 0; y < stripes.height(); ++y)
                stripes.setPixelColor(x, y, x % 2 == 0 ? Qt::black : Qt::white);
        }
        ThumbWidget thumb(pictureFile(QStringLiteral("stripes.png"), stripes));
        const QImage image = rendered(thumb, ratio);
        // Without the rim, and all but the round corners.
        const QRect inner = stripes.rect().adjusted(14, 4, -14, -8);
        const QRect middle = inner.adjusted(-8, 10, 8, -10);
        for (const QRect &area : {inner, middle})
            QVERIFY(largestDifference(image.copy(area), stripes.copy(area)) <= tolerance);
    }

    void theSheetsColourLiesUnderThePainting()
    {
        QImage clear(40, 40, QImage::Format_ARGB32);
        clear.fill(Qt::transparent);
        QWidget parent;
        parent.setStyleSheet(StyleSheet::application());
        auto *thumb = new ThumbWidget(pictureFile(QStringLiteral("clear.png"), clear), &parent);
        parent.resize(200, 200);
        const QImage image = rendered(*thumb, 1);
        comparePixel(image, {62, 50}, QColor(0x39, 0xa9, 0xd6));
        comparePixel(image, {3, 50}, QColor(0x39, 0xa9, 0xd6));
        comparePixel(image, {0, 0}, Qt::transparent);
    }
};

VELLUMIX_WINDOW_TEST_MAIN(PaintedWidgetsTest)

#include "tst_painted_widgets.moc"
