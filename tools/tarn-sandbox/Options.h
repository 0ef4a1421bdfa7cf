// The command line of the sandbox.
#ifndef TARN_SANDBOX_OPTIONS_H
#define TARN_SANDBOX_OPTIONS_H

#include <string>

namespace sandbox {

// Exit statuses of the sandbox itself; every other one is the command's.
inline constexpr int kExitOwnFailure = 125;
inline constexpr int kExitCannotRun = 126;
inline constexpr int kExitNotFound = 127;
// A command that a signal ended: this plus the signal's number.
inline constexpr int kExitSignalBase = 128;

enum class KernelEntry { kAuto, kFuse, kFifo, kNone };

struct Options {
    KernelEntry kernel = KernelEntry::kAuto;
    std::string etcDirectory;  // bound as /etc/tarn; empty for a fresh one
    char** command = nullptr;  // the rest of argv, ending with a null pointer
    bool helpOnly = false;
};

// Throws Failure for a command line that can't be understood.
Options parseOptions(int argc, char** argv);
const char* usage();

}  // namespace sandbox

#endif
