#include "tests/corpus/Masters.h"

#include "tests/support/Footage.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>

#include <algorithm>

namespace {

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

Master master(const char *name, const char *about, const char *options)
{
    return {QString::fromLatin1(name), QString::fromLatin1(about), words(options)};
}

constexpr const char *h264 = "-c:v libx264 -preset veryfast -g 50 -crf 26 -pix_fmt yuv420p ";

} // namespace

const std::vector<Master> &masters()
{
    static const std::vector<Master> all = [] {
        const auto withH264 = [](const char *rest) { return QByteArray(h264) + rest; };
        return std::vector<Master>{
            master("end.mp4", "H.264 with B-frames, AAC; index at the end",
                   withH264("-c:a aac -metadata make=Maker -metadata model=Model "
                            "-movflags +use_metadata_tags")),
            master("front.mp4", "the same, index at the front",
                   withH264("-c:a aac -movflags +faststart")),
            master("fragments.mp4", "the same in fragments of two seconds",
                   withH264("-c:a aac -movflags +frag_keyframe+empty_moov+default_base_moof")),
            master("hevc.mp4", "HEVC, AAC; index at the front",
                   "-c:v libx265 -preset ultrafast -x265-params log-level=none:pools=none "
                   "-tag:v hvc1 -c:a aac -movflags +faststart"),
            master("slices.mp4", "four slices for each picture, with delimiters",
                   withH264("-x264-params slices=4:aud=1 -c:a aac")),
            master("variable.mp4", "pictures at changing intervals",
                   withH264("-vf select=not(mod(n\\,7))+lt(mod(n\\,11)\\,6) -vsync vfr -c:a aac")),
            master("sounds.mp4", "four tracks of AAC",
                   withH264("-map 0:v -map 1:a -map 1:a -map 1:a -map 1:a -c:a aac -b:a:1 96k "
                            "-b:a:2 64k -b:a:3 48k")),
            master("plain.mov", "H.264, plain sound of 16 bits, time code",
                   withH264("-c:a pcm_s16le -timecode 01:02:03:04")),
            master("plain24.mov", "motion JPEG, plain sound of 24 bits; index at the front",
                   "-c:v mjpeg -q:v 6 -pix_fmt yuvj420p -c:a pcm_s24le -movflags +faststart"),
            master("recorder.mkv", "H.264, AAC", withH264("-c:a aac")),
            master("camera.avi", "MPEG-4, plain sound", "-c:v mpeg4 -q:v 6 -g 25 -c:a pcm_s16le"),
            master("broadcast.ts", "H.264, AAC", withH264("-c:a aac")),
            master("stream.flv", "H.264, AAC", withH264("-c:a aac")),
        };
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

QString makeMaster(const Master &master, const QString &folder, int seconds)
{
    QString path = QDir(folder).filePath(QStringLiteral("%1s-%2").arg(seconds).arg(master.name));
    QDir().mkpath(folder);
    // Several programs at a time may want it.
    QLockFile lock(path + QStringLiteral(".lock"));
    lock.setStaleLockTime(0);
    if (!lock.lock())
        qFatal("cannot lock %s", qPrintable(path));
    if (QFileInfo::exists(path))
        return path;
    const QString length = QString::number(seconds);
    // Made under another name first: a run that is broken off leaves no half master behind.
    const QString part =
        QDir(folder).filePath(QStringLiteral("part-") + QFileInfo(path).fileName());
    QStringList arguments = words("-v error -y -f lavfi -i");
    arguments += QStringLiteral("testsrc2=size=640x360:rate=30:duration=%1,"
                                "noise=alls=12:allf=t:all_seed=7")
                     .arg(length);
    arguments += words("-f lavfi -i");
    arguments += QStringLiteral("aevalsrc=0.4*sin(2*PI*(300+40*t)*t)|0.4*sin(2*PI*(500-9*t)*t)"
                                ":s=48000:d=%1")
                     .arg(length);
    arguments += words("-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -threads 1");
    Footage::run(QStringLiteral("ffmpeg"), arguments + master.options + QStringList(part));
    if (!QFile::rename(part, path))
        qFatal("cannot name %s", qPrintable(path));
    return path;
}
