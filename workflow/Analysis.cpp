#include "app/QtLog.h"
#include "metadata/MetadataText.h"
#include "service/RepairClient.h"
#include "ui/MainWindow.h"

#include <QCheckBox>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>

namespace {

QString analyzing()
{
    return QStringLiteral("Analyzing...");
}

} // namespace

void MainWindow::loadDamagedMetadata()
{
    const QString filePath = damagedFilePath;
    if (filePath.isEmpty()) {
        LOG_WARN(QStringLiteral("loadDamagedMetadata skipped, empty damagedFilePath"));
        return;
    }
    LOG_INFO(QStringLiteral("loadDamagedMetadata begin, filePath=%1"), filePath);
    metadataLoading = true;
    metadataReady = false;
    updateActionButtons();
    damagedMetadataText = analyzing();
    refreshImportRows();
    if (frameRateLabel != nullptr)
        frameRateLabel->clear();
    if (resolutionLabel != nullptr)
        resolutionLabel->setText(analyzing());

    const RepairRequest request = makeRepairRequest();
    LOG_INFO(QStringLiteral("loadDamagedMetadata request, serviceRoot=%1, configPath=%2, "
                            "logPath=%3, tempPath=%4"),
             request.serviceRoot, request.configDir, request.logDir, request.tempDir);
    workers.start([this, gate = serviceGate, request, filePath](const Workers::WayBack &wayBack) {
        const RepairResponse response = RepairClient(gate).extractMetadata(request, filePath);
        wayBack.post([this, filePath, response] { takeDamagedMetadata(filePath, response); });
    });
}

void MainWindow::takeDamagedMetadata(const QString &filePath, const RepairResponse &response)
{
    // The newer file's own answer is still to come; its request goes on.
    if (filePath != damagedFilePath) {
        LOG_WARN(QStringLiteral("loadDamagedMetadata ignored stale response, responseFile=%1, "
                                "currentFile=%2"),
                 filePath, damagedFilePath);
        return;
    }
    metadataLoading = false;
    if (!response.ok) {
        LOG_WARN(QStringLiteral("loadDamagedMetadata failed, message=%1, raw=%2"), response.message,
                 response.rawResponse);
        clearDamagedMetadata();
        return;
    }
    const QJsonObject info = videoInfoObject(response.object);
    if (info.isEmpty()) {
        LOG_WARN(QStringLiteral("loadDamagedMetadata empty metadata, raw=%1"),
                 response.rawResponse);
        clearDamagedMetadata();
        return;
    }
    metadataReady = true;
    LOG_INFO(QStringLiteral("loadDamagedMetadata success, metadata=%1"),
             QString::fromUtf8(QJsonDocument(info).toJson(QJsonDocument::Compact)));
    showDamagedMetadata(info);
}

void MainWindow::showDamagedMetadata(const QJsonObject &info)
{
    damagedMetadataText = metadataSummary(info, damagedFilePath);
    refreshImportRows();
    showMetadataLabels(info, damagedFilePath);
    updateActionButtons();
}

void MainWindow::showMetadataLabels(const QJsonObject &info, const QString &filePath)
{
    if (frameRateLabel != nullptr)
        frameRateLabel->setText(frameRateLabelText(info));
    if (resolutionLabel != nullptr)
        resolutionLabel->setText(resolutionLabelText(info));
    if (const std::optional<QString> text = fileLabelText(info, filePath);
        fileLabel != nullptr && text.has_value())
        fileLabel->setText(*text);
}

void MainWindow::clearDamagedMetadata()
{
    damagedMetadataText.clear();
    refreshImportRows();
    if (frameRateLabel != nullptr)
        frameRateLabel->clear();
    if (resolutionLabel != nullptr)
        resolutionLabel->clear();
    metadataReady = false;
    updateActionButtons();
}

void MainWindow::updateActionButtons()
{
    const bool isBusy = repairRunning || metadataLoading;
    if (repairButton != nullptr)
        repairButton->setEnabled(!isBusy && !damagedFiles.isEmpty());
    if (advancedModeCheck != nullptr)
        advancedModeCheck->setEnabled(!isBusy);
}
