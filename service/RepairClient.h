#pragma once

#include "service/PipeOperations.h"
#include "service/RepairRequest.h"
#include "service/RepairResponse.h"

#include <QJsonObject>
#include <QString>

#include <memory>

class ServiceGate;

/**
 * The only door to the repair service. Each call starts a service process of its own, exchanges
 * one request and one answer with it, and ends it before it returns.
 *
 * Calls block, a repair for as long as its time limit, and are made from worker threads, several
 * at once; never from the interface thread. No call throws: what fails comes back as a response
 * whose `ok` is false and whose `message` is a sentence for people.
 */
class RepairClient
{
public:
    /** Speaks through the process's pipe library; may start services at any time. */
    RepairClient();

    /** Starts services only while `serviceGate` is open; calls fail when it is closed. */
    explicit RepairClient(std::shared_ptr<ServiceGate> serviceGate);

    /** Speaks through `pipeOperations`, which must outlive the client. */
    explicit RepairClient(PipeOperations &pipeOperations);

    /**
     * Repairs `request.damagedPath` into `request.outFilePath`, with `request.samplePath` when
     * `request.advanced`; waits `request.timeoutSeconds` for the answer. Whether an output exists
     * afterwards is the caller's to check.
     */
    RepairResponse repair(const RepairRequest &request);

    /** Asks for a video's parameters; they are in the response's `object`. Waits 120 s. */
    RepairResponse extractMetadata(const RepairRequest &request, const QString &videoPath);

    /**
     * Has the first picture of a video written to `photoPath`, `scale` being the service's
     * divisor for its sides. A success without that file is turned into a failure. Waits 120 s.
     */
    RepairResponse extractFirstFrameScale(const RepairRequest &request, const QString &videoPath,
                                          const QString &photoPath, int scale);

    /**
     * One whole exchange with a fresh service process. Takes up to `timeoutSeconds` for the
     * answer and about 30 s for start, pipes and end.
     */
    RepairResponse send(const RepairRequest &request, const QJsonObject &payload,
                        int timeoutSeconds);

    /**
     * Logs a failure of the client's own and returns it as a response.
     *
     * @param message sentence for people
     * @param errCode -1, or the pipe library's code
     */
    RepairResponse fail(const QString &message, int errCode);

private:
    RepairClient(PipeOperations &pipeOperations, std::shared_ptr<ServiceGate> serviceGate);

    PipeOperations *pipes;
    std::shared_ptr<ServiceGate> gate;
};
