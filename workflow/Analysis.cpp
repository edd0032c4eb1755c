#include "metadata/MetadataText.h"
#include "ui/MainWindow.h"

#include <QLabel>

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
