// Serves a simulator at a mount point until a signal comes.
#ifndef TARN_KERNEL_SIM_MOUNT_H
#define TARN_KERNEL_SIM_MOUNT_H

#include <string>

#include "Simulator.h"

namespace sim {

// The exit status. The mount is gone when this returns.
int serveMount(const std::string& mountPoint, Simulator& simulator, int readyFd);

}  // namespace sim

#endif
