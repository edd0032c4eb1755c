#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

/**
 * What belongs to one run and its results. Of the interface thread. Queue, states and outputs are
 * changed by the functions only, which keep count, so that no refresh has to count anew.
 */
struct RunState
{
    /** A run over these files, none of them begun. Keeps the sample. */
    void begin(const QStringList &queue, bool advanced);

    /** The run's lists have an item at this place; they are emptied while a run goes on. */
    bool hasItem(int index) const { return index >= 0 && index < itemStatuses.size(); }

    void setStatus(int index, const QString &status);

    void setSucceeded(int index, bool succeeded);

    /** Takes an output once, however often it is reported. */
    void addOutput(const QString &output, const QString &source);

    /** How many outputs came from this damaged file. */
    int outputCount(const QString &source) const { return outputCounts.value(source); }

    /** How many items are repaired and have outputs. */
    int succeededCount() const { return succeededItems; }

    /** Playable video for advanced repair; empty when none is chosen. */
    QString sampleFilePath;
    /** Planned output of the first item that finished. */
    QString firstOutputPath;
    /** Outputs in the order of their arrival, each once. */
    QStringList outputFiles;
    /** For each of outputFiles, the damaged file that it came from. */
    QStringList outputSources;
    /** The damaged files of the run. */
    QStringList repairQueue;
    /** For each of repairQueue, its state in words. */
    QStringList itemStatuses;
    /** For each of repairQueue, whether it is repaired. */
    QList<bool> itemSucceeded;
    /** Restricts the preview to one damaged file; empty for all. */
    QString previewSourcePath;
    int repairTotal = 0;
    bool advancedRun = false;

private:
    QSet<QString> knownOutputs;
    QHash<QString, int> outputCounts;
    int succeededItems = 0;
};
