#include "tests/corpus/Masters.h"

#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/Recordings.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

namespace {

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

Master master(const char *name, const char *about, const char *options)
{
    return {QString::fromLatin1(name), QString::fromLatin1(about), words(options)};
}

constexpr const char *h264 = "-c:v libx264 -preset veryfast -g 50 -crf 26 -pix_fmt yuv420p";

/** With pictures that many masters have. */
Master h264Master(const char *name, const char *about, const char *options)
{
    Master one = master(name, about, options);
    one.pictures = words(h264);
    return one;
}

/** With pictures at changing intervals. */
Master variableMaster(const char *name, const char *about, const char *options)
{
    Master one = h264Master(name, about, options);
    one.pictures += words("-vf select=not(mod(n\\,7))+lt(mod(n\\,11)\\,6) -vsync vfr");
    return one;
}

QByteArray bigEndian(qsizetype number)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(static_cast<quint32>(number), bytes.data());
    return bytes;
}

QByteArray littleEndian(qsizetype number)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(static_cast<quint32>(number), bytes.data());
    return bytes;
}

QByteArray box(const QByteArray &type, const QByteArray &body)
{
    return bigEndian(body.size() + 8) + type + body;
}

/** Adds a box to the index, which stands at the file's end. */
QByteArray withIndexBox(QByteArray file, const QByteArray &added)
{
    const qsizetype index = file.lastIndexOf("moov") - 4;
    if (index < 0 || index + qFromBigEndian<quint32>(file.constData() + index) != file.size())
        qFatal("the index is not at the end");
    file.replace(index, 4, bigEndian(file.size() - index + added.size()));
    return file + added;
}

/** A text as QuickTime's atoms hold it. */
QByteArray textAtom(const QByteArray &type, const QByteArray &text)
{
    const QByteArray length = bigEndian(text.size()).mid(2);
    return box(type, length + QByteArray("\x15\xc7", 2) + text);
}

/** An Exif directory with maker and model, lowest byte first. */
QByteArray exifDirectory(const QByteArray &make, const QByteArray &model)
{
    constexpr qsizetype dataPlace = 8 + 2 + 2 * 12 + 4;
    const auto field = [](const char *tag, const QByteArray &text, qsizetype place) {
        return QByteArray(tag, 2) + QByteArray("\2\0", 2) + littleEndian(text.size() + 1) +
               littleEndian(place);
    };
    return QByteArray("II\x2a\0", 4) + littleEndian(8) + QByteArray("\2\0", 2) +
           field("\x0f\x01", make, dataPlace) +
           field("\x10\x01", model, dataPlace + make.size() + 1) + littleEndian(0) + make + '\0' +
           model + '\0';
}

QByteArray withTexts(QByteArray file)
{
    return withIndexBox(std::move(file), box("udta", textAtom("\xa9mak", "Text Maker") +
                                                         textAtom("\xa9mod", "Text Model")));
}

QByteArray withVendorBox(QByteArray file)
{
    const QByteArray exif = exifDirectory("Vendor Maker", "Vendor Model 2");
    return withIndexBox(std::move(file), box("udta", box("VNDR", "vendor" + exif)));
}

QByteArray withXml(QByteArray file)
{
    return withIndexBox(std::move(file),
                        box("uuid", QByteArray(16, 'u') + "<Device manufacturer=\"Xml Maker\" "
                                                          "modelName=\"Xml &amp; Model\"/>"));
}

/** A list in the place of the padding before the media. */
QByteArray withExifList(QByteArray file)
{
    const auto chunk = [](const QByteArray &type, QByteArray text) {
        text.append(text.size() % 2 == 0 ? 2 : 1, '\0');
        return type + littleEndian(text.size()) + text;
    };
    const QByteArray list =
        "exif" + chunk("ever", "0220") + chunk("ecor", "List Maker") + chunk("emdl", "List Model");
    const qsizetype padding = file.lastIndexOf("JUNK", file.indexOf("movi"));
    const auto room = qFromLittleEndian<quint32>(file.constData() + padding + 4);
    if (padding < 0 || room < static_cast<quint32>(list.size()) + 16)
        qFatal("there is no room for a list");
    const QByteArray whole =
        "LIST" + littleEndian(list.size()) + list + "JUNK" + littleEndian(room - list.size() - 8);
    return file.replace(padding, whole.size(), whole);
}

/** Exif data of the video stream, in the place of what is reserved for its index. */
QByteArray withStreamData(QByteArray file)
{
    QByteArray exif = "vendor" + exifDirectory("Stream Maker", "Stream Model");
    exif.append(exif.size() % 2, '\0');
    const qsizetype reserved = file.indexOf("JUNK");
    const auto room = qFromLittleEndian<quint32>(file.constData() + reserved + 4);
    if (reserved < 0 || reserved > file.indexOf("movi") ||
        room < static_cast<quint32>(exif.size()) + 16)
        qFatal("there is no room for a stream's data");
    const QByteArray whole =
        "strd" + littleEndian(exif.size()) + exif + "JUNK" + littleEndian(room - exif.size() - 8);
    return file.replace(reserved, whole.size(), whole);
}

/** A master whose file says what recorded it. */
Master withDevice(Master one, const char *make, const char *model,
                  QByteArray (*finish)(QByteArray) = nullptr)
{
    one.make = QString::fromLatin1(make);
    one.model = QString::fromLatin1(model);
    one.finish = finish;
    return one;
}

/** With pictures of its own. */
QByteArray withH264(const char *rest)
{
    return QByteArray(h264) + ' ' + rest;
}

std::vector<Master> isoMasters()
{
    return {
        withDevice(h264Master("end.mp4", "H.264 with B-frames, AAC; index at the end",
                              "-c:a aac -metadata make=Maker -metadata model=Model "
                              "-movflags +use_metadata_tags"),
                   "Maker", "Model"),
        master("forward.mp4", "pictures shown in the order in which they are decoded, AAC",
               withH264("-bf 0 -c:a aac")),
        h264Master("front.mp4", "H.264 with B-frames, AAC; index at the front",
                   "-c:a aac -movflags +faststart"),
        h264Master("fragments.mp4", "the same in fragments of two seconds",
                   "-c:a aac -movflags +frag_keyframe+empty_moov+default_base_moof"),
        master("hevc.mp4", "HEVC, AAC; index at the front",
               "-c:v libx265 -preset ultrafast -x265-params log-level=none:pools=none "
               "-tag:v hvc1 -c:a aac -movflags +faststart"),
        master("longhevc.mp4", "HEVC with B-frames, AAC; index at the end",
               "-c:v libx265 -preset ultrafast -x265-params "
               "log-level=none:pools=none:keyint=50:bframes=3:b-pyramid=1 -tag:v hvc1 -c:a aac"),
        master("slices.mp4", "four slices for each picture, with delimiters",
               withH264("-x264-params slices=4:aud=1 -c:a aac")),
        variableMaster("variable.mp4", "pictures at changing intervals", "-c:a aac"),
        variableMaster("variable.mov", "pictures at changing intervals, plain sound",
                       "-c:a pcm_s16le"),
        variableMaster("variable-two.mp4", "pictures at changing intervals, two tracks of AAC",
                       "-map 0:v -map 1:a -map 1:a -c:a aac -b:a:1 64k"),
        h264Master("sounds.mp4", "four tracks of AAC",
                   "-map 0:v -map 1:a -map 1:a -map 1:a -map 1:a -c:a aac -b:a:1 96k "
                   "-b:a:2 64k -b:a:3 48k"),
        h264Master("two.mp4", "two tracks of AAC",
                   "-map 0:v -map 1:a -map 1:a -c:a aac -b:a:1 64k"),
        h264Master("deep.mov", "H.264, plain sound of 24 bits; index at the end", "-c:a pcm_s24le"),
        master("pictures.mov", "motion JPEG, plain sound; index at the end",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a pcm_s16le"),
        h264Master("telephone.mov", "H.264, sound of 8 bits as telephones have it",
                   "-c:a pcm_mulaw -ar 8000 -ac 1"),
        master("blocks.mov", "motion JPEG, sound in blocks of 64 samples",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a adpcm_ima_qt -ar 44100"),
        h264Master("frames.mp4", "H.264, AC-3", "-c:a ac3"),
        h264Master("untold.mp4", "H.264, sound whose packets do not say their size",
                   "-c:a libopus"),
        h264Master("kinds.mp4", "AAC, and sound whose packets do not say their size",
                   "-map 0:v -map 1:a -map 1:a -c:a:0 aac -c:a:1 libopus"),
        h264Master("unlike.mov", "plain sound, and sound whose packets do not say their size",
                   "-map 0:v -map 1:a -map 1:a -c:a:0 pcm_s16le -c:a:1 alac"),
        master("prores.mov", "pictures that say their size, plain sound of 24 bits",
               "-c:v prores -profile:v 0 -pix_fmt yuv422p10le -c:a pcm_s24be"),
        h264Master("plain.mov", "H.264, plain sound of 16 bits, time code",
                   "-c:a pcm_s16le -timecode 01:02:03:04"),
        master("plain24.mov", "motion JPEG, plain sound of 24 bits; index at the front",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a pcm_s24le -movflags +faststart"),
    };
}

std::vector<Master> otherMasters()
{
    return {
        h264Master("recorder.mkv", "H.264, AAC", "-c:a aac"),
        master("camera.avi", "MPEG-4, plain sound", "-c:v mpeg4 -q:v 6 -g 25 -c:a pcm_s16le"),
        h264Master("broadcast.ts", "H.264, AAC", "-c:a aac"),
        h264Master("stream.flv", "H.264, AAC", "-c:a aac"),
        master("inband.mp4", "H.264 with its parameters before each key picture, no sound",
               withH264("-an -bsf:v dump_extra=freq=keyframe")),
        master("inband-hevc.mp4", "the same with HEVC",
               "-c:v libx265 -preset ultrafast -x265-params "
               "log-level=none:pools=none:repeat-headers=1 -tag:v hev1 -an"),
        master("inband.mkv",
               "H.264 with its parameters before each key picture, AAC and MPEG audio",
               withH264("-bsf:v dump_extra=freq=keyframe -map 0:v -map 1:a -map 1:a "
                        "-c:a:0 aac -c:a:1 libmp3lame")),
        master("inband-hevc.mkv", "HEVC with its parameters before each key picture, AC-3",
               "-c:v libx265 -preset ultrafast -x265-params "
               "log-level=none:pools=none:repeat-headers=1:keyint=50 -c:a ac3"),
        master("untold.mkv",
               "H.264 with its parameters before each key picture, sound that needs its header",
               withH264("-bsf:v dump_extra=freq=keyframe -c:a libvorbis")),
        master("pictures.mkv", "motion JPEG, plain sound of 24 bits",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a pcm_s24le"),
        master("short.avi", "motion JPEG, MPEG audio; a header of less than a kilobyte",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a libmp3lame "
               "-reserve_index_space 16 -metadata_header_padding 0"),
        master("plain.avi", "motion JPEG, plain sound of 16 bits; the same header",
               "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a pcm_s16le "
               "-reserve_index_space 16 -metadata_header_padding 0"),
    };
}

std::vector<Master> mastersWithDevices()
{
    return {
        withDevice(h264Master("texts.mov", "maker and model in texts of the index", "-c:a aac"),
                   "Text Maker", "Text Model", withTexts),
        withDevice(h264Master("keys.mov", "maker and model in keys of the index",
                              "-c:a aac -movflags +use_metadata_tags "
                              "-metadata com.apple.quicktime.make=Key-Maker "
                              "-metadata com.apple.quicktime.model=Key-Model"),
                   "Key-Maker", "Key-Model"),
        withDevice(h264Master("vendor.mp4", "maker and model in a vendor's box", "-c:a aac"),
                   "Vendor Maker", "Vendor Model 2", withVendorBox),
        withDevice(h264Master("xml.mp4", "maker and model in XML in a box of its own", "-c:a aac"),
                   "Xml Maker", "Xml & Model", withXml),
        withDevice(master("list.avi", "maker and model in a list of the header",
                          "-c:v mpeg4 -q:v 6 -g 25 -c:a pcm_s16le"),
                   "List Maker", "List Model", withExifList),
        withDevice(master("stream.avi", "maker and model in Exif data of a stream",
                          "-c:v mpeg4 -q:v 6 -g 25 -c:a pcm_s16le"),
                   "Stream Maker", "Stream Model", withStreamData),
        withDevice(h264Master("tags.mkv", "maker and model in tags",
                              "-c:a aac -metadata make=Tag-Maker "
                              "-metadata model=Tag-Model"),
                   "Tag-Maker", "Tag-Model"),
        withDevice(h264Master("tags.flv", "maker and model in the header's script",
                              "-c:a aac -metadata make=Flv-Maker "
                              "-metadata model=Flv-Model"),
                   "Flv-Maker", "Flv-Model"),
    };
}

} // namespace

const std::vector<Master> &masters()
{
    static const std::vector<Master> all = [] {
        std::vector<Master> joined = isoMasters();
        for (const auto &some : {otherMasters(), mastersWithDevices()})
            joined.insert(joined.end(), some.begin(), some.end());
        return joined;
    }();
    return all;
}

const Master &masterNamed(const QString &name)
{
    const auto found = std::find_if(masters().begin(), masters().end(),
                                    [&](const Master &one) { return one.name == name; });
    if (found == masters().end())
        qFatal("there is no master %s", qPrintable(name));
    return *found;
}

void recordMaster(const Master &master, const QString &path, int seconds, Scene scene)
{
    const bool isSample = scene == Scene::Sample;
    const QString length = QString::number(seconds);
    const QStringList picture =
        words("-f lavfi -i") +
        QStringList((isSample ? QStringLiteral("testsrc=size=640x360:rate=30:duration=%1,format="
                                               "yuv420p,noise=alls=9:allf=t:all_seed=21")
                              : QStringLiteral("testsrc2=size=640x360:rate=30:duration=%1,"
                                               "noise=alls=12:allf=t:all_seed=7"))
                        .arg(length));
    const QStringList sound =
        words("-f lavfi -i") +
        QStringList((isSample ? QStringLiteral("aevalsrc=0.3*sin(2*PI*(700-30*t)*t)|"
                                               "0.5*sin(2*PI*(200+19*t)*t):s=48000:d=%1")
                              : QStringLiteral("aevalsrc=0.4*sin(2*PI*(300+40*t)*t)|"
                                               "0.4*sin(2*PI*(500-9*t)*t):s=48000:d=%1"))
                        .arg(length));
    const QStringList quiet = words("-v error -y");
    const QStringList exact =
        words("-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -threads 1");
    QStringList arguments = quiet;
    if (master.pictures.isEmpty()) {
        arguments += picture + sound + exact;
    } else {
        const QStringList recipe = quiet + picture + exact + master.pictures;
        arguments +=
            QStringList{QStringLiteral("-i"), Footage::kept(recipe, QStringLiteral("mp4"))};
        arguments += sound + exact + words("-map_metadata -1 -c:v copy");
    }
    Footage::run(QStringLiteral("ffmpeg"), arguments + master.options + QStringList(path));
    if (master.finish)
        writeFile(path, master.finish(readFile(path)));
}

QString makeMaster(const Master &master, int seconds, Scene scene)
{
    // A folder for each state of this file, which says how they are made.
    const QString name =
        QStringLiteral("masters-" VELLUMIX_RECIPES "/%1s-%2%3")
            .arg(QString::number(seconds),
                 scene == Scene::Sample ? QStringLiteral("sample-") : QString(), master.name);
    return Recordings::kept(
        name, [&](const QString &path) { recordMaster(master, path, seconds, scene); });
}
