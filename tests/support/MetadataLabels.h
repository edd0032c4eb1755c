#pragma once

#include "tests/support/WindowProbe.h"

#include <QLabel>

/** The labels that a page may have for what is known of the current file, each with a text. */
struct MetadataLabels
{
    explicit MetadataLabels(WindowProbe &probe)
    {
        probe.frameRateLabel() = &frameRate;
        probe.resolutionLabel() = &resolution;
        probe.fileLabel() = &file;
    }

    QLabel frameRate{QStringLiteral("before")};
    QLabel resolution{QStringLiteral("before")};
    QLabel file{QStringLiteral("before")};
};
