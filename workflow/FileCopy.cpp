#include "workflow/FileCopy.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

// Little enough that a cancel is noticed at once, even on a slow card.
constexpr qint64 chunkBytes = qint64{1} << 20;

bool isSameFile(const QString &one, const QString &other)
{
    const QString canonical = QFileInfo(one).canonicalFilePath();
    return !canonical.isEmpty() && canonical == QFileInfo(other).canonicalFilePath();
}

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
    // Under another name until it is whole.
    QSaveFile target(copy.target);
    return source.open(QIODevice::ReadOnly) && target.open(QIODevice::WriteOnly) &&
           copyContent(source, target, progress) && target.commit();
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

void CopyProgress::finishOne()
{
    const std::lock_guard lock(mutex);
    ++current.copied;
}

int copyFiles(const QList<FileCopy> &copies, CopyProgress &progress)
{
    qint64 total = 0;
    for (const FileCopy &copy : copies)
        total += QFileInfo(copy.source).size();
    progress.setTotal(total);

    for (const FileCopy &copy : copies) {
        if (progress.isCancelled())
            break;
        progress.begin(copy.target);
        if (copyFile(copy, progress))
            progress.finishOne();
    }
    return progress.state().copied;
}
