#pragma once

/**
 * What the service process must know of the world around it: that its client lives, and that
 * nobody has asked it to end.
 */
namespace ProcessWatch {

/** To be called on the main thread before any other thread is started. */
void prepare();

/**
 * Blocks until the process that started this one has ended or this one has been asked to end.
 * Returns a few words for the log. For one thread.
 */
const char *waitForEnd();

} // namespace ProcessWatch
