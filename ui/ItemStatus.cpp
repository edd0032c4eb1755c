#include "ui/ItemStatus.h"

#include "app/TextPattern.h"

QString ItemStatus::succeeded(qsizetype outputCount)
{
    return TextPattern::fill(QStringLiteral("Repair succeeded, %1 output file(s)"), outputCount);
}

QString ItemStatus::failed(bool advanced)
{
    return advanced
               ? QStringLiteral("Advanced repair failed.")
               : QStringLiteral("Quick repair failed. Try Advanced Repair with a sample video.");
}
