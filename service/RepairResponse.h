#pragma once

#include <QJsonObject>
#include <QString>

/** Outcome of one call to the repair service. Copied freely. */
struct RepairResponse
{
    /** The service answered and its answer counts as a success. */
    bool ok = false;
    /**
     * The answer's "err_code"; -1 for failures of the client's own; the pipe library's code when
     * a pipe could not be brought up.
     */
    qint32 errCode = -1;
    /** The answer's "function"; -1 when it has none. */
    qint32 function = -1;
    /** The answer as received, decoded as UTF-8, without surrounding white space. */
    QString rawResponse;
    /** One sentence for people. */
    QString message;
    /** The whole parsed answer. */
    QJsonObject object;
};
