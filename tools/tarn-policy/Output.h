// The tool's own standard output. The library prints on descriptor 1 by itself (dumps, lap lines, log lines where the
// log can't be written, the answer to SIGUSR1); the tool therefore keeps the real standard output on a descriptor of
// its own and points descriptor 1 at standard error before anything of the library runs.
#ifndef TARN_POLICY_OUTPUT_H
#define TARN_POLICY_OUTPUT_H

#include <string>

#include "Common/Handles.h"

class Output {
public:
    // Takes standard output over. Descriptors 0 to 2 that the caller closed are opened on /dev/null first: a policy
    // file must never become descriptor 1. Throws Failure.
    Output();

    // Writes everything. A write that fails is remembered, not thrown: the work goes on.
    void write(const std::string& text);

    // 0, or the errno of the first write that failed.
    int error() const { return error_; }

private:
    UniqueFd fd_;
    int error_ = 0;
};

#endif
