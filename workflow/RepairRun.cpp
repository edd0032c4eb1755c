#include "app/QtLog.h"
#include "metadata/SupportedFormats.h"
#include "service/RepairClient.h"
#include "service/ServiceGate.h"
#include "ui/ItemStatus.h"
#include "ui/MainWindow.h"
#include "workflow/ItemResult.h"
#include "workflow/MessageBox.h"
#include "workflow/RepairOutputs.h"

#include <QLabel>
#include <QStackedWidget>

#include <algorithm>

namespace {

/** Repairs one item; blocks until the service has answered or its time is over. */
ItemResult repairItem(const RepairRequest &request, int index, int count,
                      const std::shared_ptr<ServiceGate> &gate)
{
    LOG_INFO(QStringLiteral("repair item begin, index=%1, total=%2, damaged=%3, output=%4"),
             index + 1, count, request.damagedPath, request.outFilePath);
    ItemResult result;
    result.response = RepairClient(gate).repair(request);
    if (result.response.ok)
        result.outputs = collectRepairOutputs(request.outFilePath);
    // A success that left no file is none.
    result.succeeded = !result.outputs.isEmpty();
    result.advanced = request.advanced;
    result.damagedFile = request.damagedPath;
    result.plannedOutput = request.outFilePath;
    result.index = index;
    result.count = count;
    return result;
}

} // namespace

void MainWindow::startRepair(bool advanced)
{
    if (repairRunning) {
        LOG_WARN(QStringLiteral("startRepair ignored because repair is already running"));
        return;
    }
    if (damagedFiles.isEmpty()) {
        chooseDamagedFile();
        if (damagedFiles.isEmpty())
            return;
    }
    showFormatNotice();
    if (advanced && run.sampleFilePath.isEmpty()) {
        chooseSampleAndCompare();
        return;
    }
    // After the question for the sample, on purpose: choosing one does not need the metadata.
    if (metadataLoading) {
        showWarning(this, QStringLiteral("Please Wait"),
                    QStringLiteral("Video parameters are still being analyzed. Please try again "
                                   "shortly."));
        return;
    }

    RepairRequest request = makeRepairRequest();
    request.advanced = advanced;
    request.samplePath = run.sampleFilePath;
    const QStringList queue = damagedFiles;
    run.begin(queue, advanced);
    LOG_INFO(QStringLiteral("startRepair queue count=%1"), queue.size());
    isRunUnderWay = true;
    setRepairRunning(true);
    refreshResultList();
    pages->setCurrentIndex(ResultPage);
    startRun(request, queue);
}

void MainWindow::startRun(const RepairRequest &request, const QStringList &queue)
{
    workers.start([this, gate = serviceGate, dataFolder = publicDataPath(), request,
                   queue](const Workers::WayBack &wayBack) {
        const int count = static_cast<int>(queue.size());
        int succeeded = 0;
        for (int i = 0; i < count && !gate->isClosed(); ++i) {
            RepairRequest item = request;
            item.damagedPath = queue[i];
            item.outFilePath = createRepairOutputPath(queue[i], request.damagedPath, dataFolder);
            wayBack.post([this, i] { beginItem(i); });
            const ItemResult result = repairItem(item, i, count, gate);
            succeeded += result.succeeded ? 1 : 0;
            wayBack.post([this, result] { finishItem(result); });
        }
        wayBack.post([this, succeeded, count, advanced = request.advanced] {
            finishRun(succeeded, count - succeeded, advanced);
        });
    });
}

void MainWindow::showFormatNotice()
{
    const QStringList unsupported = unsupportedFileNames(damagedFiles);
    if (unsupported.isEmpty())
        return;
    // Wanted: a notice, not a question. The run goes on.
    showWarning(this, QStringLiteral("Format Notice"),
                TextPattern::fill(
                    QStringLiteral("%1 file(s) are outside the common supported format list. You "
                                   "can continue; results depend on the repair engine."),
                    unsupported.size()));
}

void MainWindow::setRepairRunning(bool running)
{
    repairRunning = running;
    if (progressLabel != nullptr)
        progressLabel->setText(running ? QStringLiteral("Processing...") : QString());
    updateActionButtons();
}

void MainWindow::beginItem(int index)
{
    // After "Remove All" the run goes on, and its items are no longer in the list.
    if (!run.hasItem(index))
        return;
    run.setStatus(index, ItemStatus::repairing());
    refreshResultList();
    pages->setCurrentIndex(ResultPage);
}

void MainWindow::finishItem(const ItemResult &result)
{
    if (run.firstOutputPath.isEmpty())
        run.firstOutputPath = result.plannedOutput;
    if (result.succeeded) {
        for (const QString &output : result.outputs)
            run.addOutput(output, result.damagedFile);
    }
    if (run.hasItem(result.index)) {
        run.setStatus(result.index, result.succeeded ? ItemStatus::succeeded(result.outputs.size())
                                                     : ItemStatus::failed(result.advanced));
        run.setSucceeded(result.index, result.succeeded);
    }
    if (result.succeeded)
        requestThumbnail(result.damagedFile, result.outputs.first(), true);
    if (progressLabel != nullptr)
        progressLabel->setText(
            TextPattern::fill(QStringLiteral("Completed %1/%2"), result.index + 1, result.count));
    refreshResultList();
    pages->setCurrentIndex(ResultPage);
    LOG_INFO(QStringLiteral("repair item finished, ok=%1, outputs=%2, raw=%3"), result.response.ok,
             result.outputs.join(QLatin1Char('|')), result.response.rawResponse);
}

void MainWindow::finishRun(int succeeded, int failed, bool advanced)
{
    isRunUnderWay = false;
    setRepairRunning(isComparing);
    showResultPage(succeeded, failed, advanced);
}
