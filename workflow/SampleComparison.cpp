#include "app/QtLog.h"
#include "metadata/MetadataText.h"
#include "metadata/ParameterComparison.h"
#include "service/RepairClient.h"
#include "ui/ComparisonDialog.h"
#include "ui/MainWindow.h"
#include "ui/SampleDialog.h"
#include "workflow/MessageBox.h"

void MainWindow::chooseSampleAndCompare()
{
    // Two comparisons at a time would ask the user two questions one upon the other.
    if (isComparing) {
        LOG_WARN(QStringLiteral(
            "chooseSampleAndCompare ignored because a comparison is already running"));
        return;
    }
    if (damagedFilePath.isEmpty()) {
        chooseDamagedFile();
        if (damagedFilePath.isEmpty())
            return;
    }
    SampleDialog dialog(run.sampleFilePath, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    run.sampleFilePath = dialog.samplePath();
    compareParameters();
}

void MainWindow::compareParameters()
{
    isComparing = true;
    setRepairRunning(true);
    const RepairRequest request = makeRepairRequest();
    const QString damaged = damagedFilePath;
    const QString sample = run.sampleFilePath;
    LOG_INFO(QStringLiteral("Sample metadata compare begin, damaged=%1, sample=%2"), damaged,
             sample);
    workers.start(
        [this, gate = serviceGate, request, damaged, sample](const Workers::WayBack &wayBack) {
            RepairClient client(gate);
            const RepairResponse ofDamaged = client.extractMetadata(request, damaged);
            const RepairResponse ofSample = client.extractMetadata(request, sample);
            wayBack.post([this, damaged, ofDamaged, sample, ofSample] {
                takeComparison(damaged, ofDamaged, sample, ofSample);
            });
        });
}

void MainWindow::takeComparison(const QString &damaged, const RepairResponse &ofDamaged,
                                const QString &sample, const RepairResponse &ofSample)
{
    isComparing = false;
    setRepairRunning(isRunUnderWay);
    QJsonObject damagedInfo;
    if (ofDamaged.ok)
        damagedInfo = videoInfoObject(ofDamaged.object);
    else
        LOG_WARN(QStringLiteral("Damaged metadata compare failed, message=%1, raw=%2"),
                 ofDamaged.message, ofDamaged.rawResponse);
    QJsonObject sampleInfo;
    if (ofSample.ok) {
        LOG_INFO(QStringLiteral("Sample metadata compare success"));
        sampleInfo = videoInfoObject(ofSample.object);
    } else {
        LOG_WARN(QStringLiteral("Sample metadata compare failed, message=%1, raw=%2"),
                 ofSample.message, ofSample.rawResponse);
    }
    // The list has been emptied or replaced meanwhile: nobody waits for this comparison any more.
    if (damaged != damagedFilePath || sample != run.sampleFilePath) {
        LOG_WARN(QStringLiteral("Sample metadata compare ignored, damaged=%1, sample=%2"), damaged,
                 sample);
        return;
    }
    ComparisonDialog dialog(comparisonRows(damagedInfo, damaged, sampleInfo, sample), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const bool isRefused = isRunUnderWay;
    startRepair(true);
    if (isRefused)
        showWarning(this, QStringLiteral("Please Wait"),
                    QStringLiteral("A repair is still running. Please try again when it has "
                                   "finished."));
}
