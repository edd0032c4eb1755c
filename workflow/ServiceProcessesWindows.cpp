#include "workflow/ServiceProcesses.h"

#include <QProcess>

int endProcesses(const QString &imageName)
{
    return QProcess::execute(
        QStringLiteral("taskkill"),
        {QStringLiteral("/IM"), imageName, QStringLiteral("/T"), QStringLiteral("/F")});
}
