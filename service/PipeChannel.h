#pragma once

#include "service/PipeOperations.h"

/**
 * Brings one pipe end up: init and connect, again from init every 100 ms until both succeed or
 * the time is over. Blocks; may be called from any thread.
 *
 * @param record describes the pipe end; its `id` is set on success and 0 or the last one's else
 * @param timeoutMs time limit in milliseconds; without any, nothing is tried
 * @return 0 on success, else the last code of the library, -1 when nothing was tried
 */
std::int32_t initAndConnectPipe(PipeOperations &pipes, CommunicationCommonField_t &record,
                                int timeoutMs);
