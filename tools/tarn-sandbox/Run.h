// Runs the command and waits for it.
#ifndef TARN_SANDBOX_RUN_H
#define TARN_SANDBOX_RUN_H

namespace sandbox {

// Runs the command with the signals that the caller sends to the sandbox passed on, and gives the exit status: the
// command's own, 128 plus the number of the signal that ended it, 126 or 127 where it can't be run or isn't found.
int runCommand(char** command);

}  // namespace sandbox

#endif
