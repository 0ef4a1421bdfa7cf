// Runs the command and waits for it.
#ifndef TARN_SANDBOX_RUN_H
#define TARN_SANDBOX_RUN_H

#include <functional>

namespace sandbox {

// Keeps from now on the signals pending that are passed on to the command, so that none ends the sandbox between its
// steps and leaves something behind.
void holdSignals();

// Runs the command and passes on to it the signals that the sandbox gets. `enter` is called in the new process before
// it becomes the command; false with errno refuses. The result is the exit status: the command's own, 128 plus the
// number of the signal that ended it, 126 or 127 where it can't be run or isn't found. holdSignals comes first.
int runCommand(char** command, const std::function<bool()>& enter);

}  // namespace sandbox

#endif
