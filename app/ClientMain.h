#pragma once

#include <functional>

class MainWindow;

/**
 * The program from its first to its last step: application object, log, window, event loop.
 * Returns the event loop's exit code. When work that was going on at the end does not stop in
 * time, the process ends here with that code and the function does not return.
 *
 * @param whenShown called once the window is shown, before the event loop; may be empty
 */
int clientMain(int argc, char *argv[], const std::function<void(MainWindow &)> &whenShown = {});
