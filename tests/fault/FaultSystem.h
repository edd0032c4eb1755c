#pragma once

#include <functional>
#include <string>

/** What the fault service does by its system's own means. */
namespace FaultSystem {

/** Runs the script to its end, while the process listens for being asked to end. Its result. */
int run(const std::function<int()> &script);

/** Ends the process after so long. */
void limitLife(unsigned seconds);

/** When asked to end, makes the file and ends. */
void noteTerminate(const std::string &file);

/** Takes no notice of being asked to end. */
void ignoreTerminate();

/** Ends the process as the signal does. */
void endBySignal(int number);

/**
 * Starts a child that has a child, other programs than this, and writes their ids to the file.
 * Returns false where there is no way to.
 */
bool spawn(const std::string &file);

/** This process's id. */
long long processId();

} // namespace FaultSystem
