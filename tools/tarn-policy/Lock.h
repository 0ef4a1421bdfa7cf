// Keeps two processes off one set: an exclusive flock on /run/lock/tarn-policy. Hosts that drive the library beside
// this tool take the same lock.
#ifndef TARN_POLICY_LOCK_H
#define TARN_POLICY_LOCK_H

#include "Common/Handles.h"

class SetLock {
public:
    static constexpr char kPath[] = "/run/lock/tarn-policy";

    // Takes the lock at once or throws Failure: kBusy, with the holder, where another process has it. Root makes
    // the file where it is missing, and it stays: removing it would let two processes lock two files. One that does not
    // belong to root is refused.
    SetLock();

private:
    UniqueFd fd_;
};

#endif
