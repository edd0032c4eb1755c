#include "ui/RunState.h"

#include "ui/ItemStatus.h"

void RunState::begin(const QStringList &queue, bool advanced)
{
    const QString sample = sampleFilePath;
    *this = {};
    sampleFilePath = sample;
    repairQueue = queue;
    itemStatuses = QStringList(queue.size(), ItemStatus::waiting());
    itemSucceeded = QList<bool>(queue.size(), false);
    repairTotal = static_cast<int>(queue.size());
    advancedRun = advanced;
}

void RunState::setStatus(int index, const QString &status)
{
    itemStatuses[index] = status;
}

void RunState::setSucceeded(int index, bool succeeded)
{
    if (outputCount(repairQueue[index]) > 0)
        succeededItems += static_cast<int>(succeeded) - static_cast<int>(itemSucceeded[index]);
    itemSucceeded[index] = succeeded;
}

void RunState::addOutput(const QString &output, const QString &source)
{
    if (knownOutputs.contains(output))
        return;
    knownOutputs.insert(output);
    outputFiles.append(output);
    outputSources.append(source);
    ++outputCounts[source];
}
