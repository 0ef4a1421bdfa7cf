// The command line of the simulator.
#ifndef TARN_KERNEL_SIM_OPTIONS_H
#define TARN_KERNEL_SIM_OPTIONS_H

#include <string>
#include <vector>

#include "Control.h"

namespace sim {

inline constexpr int kExitFailure = 1;  // can't mount, open or read
inline constexpr int kExitUsage = 2;    // the command line

struct Options {
    std::string mountPoint;  // one of these two
    std::string fifo;
    std::string transcript;
    std::vector<Refusal> refusals;
    std::vector<std::string> parameters;  // "namespace/variable"
    int readyFd = -1;
};

// True when there is something to run; else exitStatus is set and what there is to say has been said.
bool parseOptions(int argc, char** argv, Options& options, int& exitStatus);

}  // namespace sim

#endif
