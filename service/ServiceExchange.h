#pragma once

#include "service/PipeOperations.h"
#include "service/RepairRequest.h"
#include "service/RequestPreparation.h"
#include "service/ServiceGate.h"

#include <QByteArray>
#include <QProcess>
#include <QString>

/**
 * A text that no other request of any running client uses: the client's process id and the
 * number of the request in this process, counted from 1. May be called from any thread.
 */
QString requestToken();

/**
 * One service process and the two pipes to it, for one request. Blocks the calling thread; used
 * once and dropped. Whatever the outcome, run() has closed the pipes and ended the process, if need
 * be by force.
 */
class ServiceExchange
{
public:
    struct Outcome
    {
        /** The answer's bytes; of no meaning when there is a failure. */
        QByteArray answer;
        /** Why there is no answer; empty when there is one. */
        QString failure;
        /** Code that goes with the failure. */
        qint32 failureCode = -1;
    };

    /**
     * @param request with its directories resolved
     * @param pipeOperations must outlive the exchange
     * @param serviceGate asked before the process is started; must outlive the exchange
     */
    ServiceExchange(const RequestPreparation::ServicePaths &servicePaths,
                    const RepairRequest &request, PipeOperations &pipeOperations,
                    ServiceGate &serviceGate);

    /**
     * Starts the service, sends `requestLine` and waits for the answer. Returns the answer, or
     * why there is none.
     *
     * @param timeoutSeconds time limit for the answer alone, in seconds
     */
    Outcome run(const QByteArray &requestLine, int timeoutSeconds);

private:
    QString startService();
    Outcome connectPipes();
    bool writeRequest(const QByteArray &requestLine);
    Outcome awaitAnswer(int timeoutSeconds);
    void closePipes();
    void killService();
    void endService();

    RequestPreparation::ServicePaths paths;
    PipeOperations &pipes;
    ServiceGate &gate;
    QString token;
    CommunicationCommonField_t readPipe;
    CommunicationCommonField_t writePipe;
    QProcess process;
};
