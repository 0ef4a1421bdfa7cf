// The command line of the sandbox.
#ifndef TARN_SANDBOX_OPTIONS_H
#define TARN_SANDBOX_OPTIONS_H

#include <string>
#include <vector>

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
    std::string etcDirectory;           // stands as /etc/tarn; empty for a fresh one
    std::string transcript;             // absolute; empty for the private default
    std::string keepDirectory;          // gets copies of the private folders at the end; empty for none
    std::vector<std::string> refusals;  // "N:ERRNO": the simulator's answers to single messages
    std::vector<std::string> paras;     // "NAMESPACE/VARIABLE": entries of dynamic variables
    std::vector<std::string> brought;   // files and folders to copy where the fallback is a tree of copies
    char** command = nullptr;           // the rest of argv, ending with a null pointer
    bool helpOnly = false;
};

// Throws Failure for a command line that can't be understood.
Options parseOptions(int argc, char** argv);
const char* usage();

}  // namespace sandbox

#endif
