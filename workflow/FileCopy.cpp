#include "workflow/FileCopy.h"

#include "workflow/SameFile.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUuid>

namespace {

// Little enough that a cancel is noticed at once, even on a slow card.
constexpr qint64 chunkBytes = qint64{1} << 20;

bool copyContent(QFile &source, QSaveFile &target, CopyProgress &progress)
{
    QByteArray chunk(chunkBytes, Qt::Uninitialized);
    for (;;) {
        const qint64 size = source.read(chunk.data(), chunk.size());
        if (size < 0 || progress.isCancelled())
            return false;
        if (size == 0)
            return true;
        if (target.write(chunk.constData(), size) != size)
            return false;
        progress.advance(size);
    }
}

bool copyFile(const FileCopy &copy, CopyProgress &progress)
{
    if (isSameFile(copy.source, copy.target))
        return true;
    // Wanted: gone before the copy begins, so that what stands there is the copy or nothing.
    if (QFile::exists(copy.target) && !QFile::remove(copy.target))
        return false;
    QFile source(copy.source);
    // Under another name until it is whole and on the disk: a short one, since the name that it
    // is to have may be as long as names can be.
    const QString part =
        QFileInfo(copy.target)
            .absoluteDir()
            .filePath(QStringLiteral(".vellumix-%1")
                          .arg(QUuid::createUuid().toString(QUuid::Id128).left(8)));
    QSaveFile target(part);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly) ||
        !copyContent(source, target, progress) || !target.commit())
        return false;
    if (QFile::rename(part, copy.target))
        return true;
    QFile::remove(part);
    return false;
}

} // namespace

CopyProgress::State CopyProgress::state() const
{
    const std::lock_guard lock(mutex);
    return current;
}

void CopyProgress::cancel()
{
    const std::lock_guard lock(mutex);
    cancelled = true;
}

bool CopyProgress::isCancelled() const
{
    const std::lock_guard lock(mutex);
    return cancelled;
}

void CopyProgress::setTotal(qint64 bytes)
{
    const std::lock_guard lock(mutex);
    current.total = bytes;
}

void CopyProgress::begin(const QString &target)
{
    const std::lock_guard lock(mutex);
    current.target = target;
}

void CopyProgress::advance(qint64 bytes)
{
    const std::lock_guard lock(mutex);
    current.done += bytes;
}

void CopyProgress::finishOne(qint64 doneBytes, bool isCopied)
{
    const std::lock_guard lock(mutex);
    current.done = doneBytes;
    current.copied += isCopied ? 1 : 0;
}

int copyFiles(const QList<FileCopy> &copies, CopyProgress &progress)
{
    QList<qint64> doneAfter;
    qint64 total = 0;
    for (const FileCopy &copy : copies)
        doneAfter.append(total += QFileInfo(copy.source).size());
    progress.setTotal(total);

    for (qsizetype i = 0; i < copies.size() && !progress.isCancelled(); ++i) {
        progress.begin(copies[i].target);
        const bool isCopied = copyFile(copies[i], progress);
        progress.finishOne(doneAfter[i], isCopied);
    }
    return progress.state().copied;
}
