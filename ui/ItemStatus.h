#pragma once

#include <QString>

/** States of an item of a run, in the words that its row shows and by which it is told apart. */
namespace ItemStatus {

inline QString waiting()
{
    return QStringLiteral("Waiting");
}

inline QString repairing()
{
    return QStringLiteral("Repairing");
}

/** @param outputCount number of files that the repair has written */
QString succeeded(qsizetype outputCount);

QString failed(bool advanced);

} // namespace ItemStatus
