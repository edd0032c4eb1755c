#pragma once

#include "tests/support/WindowProbe.h"

#include <QLabel>

/** The labels that a page may have for what is known of the current file, each with a text. */
struct MetadataLabels
{
    explicit MetadataLabels(WindowProbe &windowProbe) : probe(windowProbe)
    {
        probe.frameRateLabel() = &frameRate;
        probe.resolutionLabel() = &resolution;
        probe.fileLabel() = &file;
    }

    // The window outlives them, and an answer may come until it ends.
    ~MetadataLabels()
    {
        probe.frameRateLabel() = nullptr;
        probe.resolutionLabel() = nullptr;
        probe.fileLabel() = nullptr;
    }

    Q_DISABLE_COPY_MOVE(MetadataLabels)

    WindowProbe &probe;
    QLabel frameRate{QStringLiteral("before")};
    QLabel resolution{QStringLiteral("before")};
    QLabel file{QStringLiteral("before")};
};
