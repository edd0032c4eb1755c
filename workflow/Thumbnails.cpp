#include "app/QtLog.h"
#include "service/RepairClient.h"
#include "ui/MainWindow.h"
#include "workflow/DataFolders.h"

#include <QFileInfo>
#include <QTimer>

#include <algorithm>

namespace {

// Each is a service process: of a thousand imported files a few are looked at at a time.
constexpr int maxRunningThumbnails = 8;

// The service divides the picture's sides by it.
constexpr int thumbnailScale = 2;

} // namespace

QString MainWindow::thumbnailPath(const QString &key, bool isResult)
{
    return DataFolders::thumbnail(publicDataPath(), key, isResult);
}

void MainWindow::requestThumbnail(const QString &key, const QString &videoPath, bool isResult)
{
    if (key.trimmed().isEmpty() || videoPath.trimmed().isEmpty() || !QFileInfo::exists(videoPath))
        return;
    QHash<QString, QString> &thumbs = isResult ? resultThumbs : sourceThumbs;
    if (const auto known = thumbs.constFind(key);
        known != thumbs.constEnd() && QFileInfo::exists(*known))
        return;

    const QString photoPath = thumbnailPath(key, isResult);
    if (QFileInfo::exists(photoPath)) {
        thumbs.insert(key, photoPath);
        if (isResult)
            refreshResultList();
        else
            refreshImportRows();
        return;
    }

    const QString pendingKey =
        TextPattern::fill(QStringLiteral("%1|%2"),
                          isResult ? QStringLiteral("result") : QStringLiteral("source"), key);
    if (pendingThumbs.contains(pendingKey))
        return;
    pendingThumbs.insert(pendingKey);
    enqueueThumbnail({.key = key,
                      .videoPath = videoPath,
                      .photoPath = photoPath,
                      .isResult = isResult,
                      .pendingKey = pendingKey});
    startThumbnailsSoon();
}

void MainWindow::enqueueThumbnail(const ThumbnailJob &job)
{
    auto place = waitingThumbs.end();
    if (job.isResult)
        place = std::ranges::find(waitingThumbs, false, &ThumbnailJob::isResult);
    waitingThumbs.insert(place, job);
}

void MainWindow::startThumbnailsSoon()
{
    if (isThumbStartDue)
        return;
    isThumbStartDue = true;
    // A timer's turn comes after all that is posted, layout and painting included.
    QTimer::singleShot(0, this, [this] {
        isThumbStartDue = false;
        startWaitingThumbnails();
    });
}

void MainWindow::startWaitingThumbnails()
{
    // After "Remove All" a picture may be wanted anew while it is being made.
    const auto mayStart = [this](const ThumbnailJob &job) {
        return !runningThumbs.contains(job.pendingKey);
    };
    while (runningThumbs.size() < maxRunningThumbnails) {
        const auto next = std::ranges::find_if(waitingThumbs, mayStart);
        if (next == waitingThumbs.end())
            return;
        const ThumbnailJob job = *next;
        waitingThumbs.erase(next);
        runningThumbs.insert(job.pendingKey);
        startThumbnail(job);
    }
}

void MainWindow::startThumbnail(const ThumbnailJob &job)
{
    workers.start([this, gate = serviceGate, request = makeRepairRequest(),
                   job](const Workers::WayBack &wayBack) {
        const RepairResponse response = RepairClient(gate).extractFirstFrameScale(
            request, job.videoPath, job.photoPath, thumbnailScale);
        wayBack.post([this, job, response] { takeThumbnail(job, response); });
    });
}

void MainWindow::takeThumbnail(const ThumbnailJob &job, const RepairResponse &response)
{
    const bool isMade = response.ok && QFileInfo::exists(job.photoPath);
    const auto isOfThis = [&job](const ThumbnailJob &waiting) {
        return waiting.pendingKey == job.pendingKey;
    };
    if (isMade)
        waitingThumbs.removeIf(isOfThis);
    if (std::ranges::none_of(waitingThumbs, isOfThis))
        pendingThumbs.remove(job.pendingKey);
    runningThumbs.remove(job.pendingKey);
    startWaitingThumbnails();

    if (!isMade) {
        LOG_WARN(QStringLiteral("thumbnail extract failed, key=%1, photoPath=%2, err=%3, raw=%4"),
                 job.key, job.photoPath, response.errCode, response.rawResponse);
        return;
    }
    if (job.isResult) {
        resultThumbs.insert(job.key, job.photoPath);
    } else {
        sourceThumbs.insert(job.key, job.photoPath);
        refreshImportRows();
    }
    // A source's picture stands in for a result's that is still to come.
    refreshResultList();
}

void MainWindow::dropUnwantedThumbnails()
{
    const QSet<QString> wanted(damagedFiles.cbegin(), damagedFiles.cend());
    const auto isUnwanted = [&](const ThumbnailJob &job) {
        if (wanted.contains(job.key))
            return false;
        pendingThumbs.remove(job.pendingKey);
        return true;
    };
    waitingThumbs.removeIf(isUnwanted);
}
