// The end of the run: SIGTERM, SIGINT and SIGHUP become readable at a descriptor, so that none can get lost between two
// looks and the mount is always taken down.
#ifndef TARN_KERNEL_SIM_STOP_H
#define TARN_KERNEL_SIM_STOP_H

#include "Common/Handles.h"

namespace sim {

class StopSignals {
public:
    StopSignals();

    // Waits until the descriptor has something to read or was hung up. False when the run shall end, by a signal or
    // because waiting failed.
    bool waitFor(int fd) const;

private:
    UniqueFd signals_;
};

// Tells whoever started us that the entries are served: one byte, and the descriptor is closed. Nothing for -1.
void announceReady(int fd);

}  // namespace sim

#endif
