// The simulated kernel entry: a process of its own that the sandbox starts and ends.
#ifndef TARN_SANDBOX_SIMULATOR_H
#define TARN_SANDBOX_SIMULATOR_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace sandbox {

struct SimulatorPlan {
    bool fifo = false;       // else FUSE
    std::string entry;       // the folder to mount on, or the path of the FIFO, as seen by the simulator
    std::string transcript;  // likewise
    std::vector<std::string> refusals;
    std::vector<std::string> paras;
};

class Simulator {
public:
    Simulator() = default;
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Starts the program and waits until its entry stands. Throws Failure where it doesn't come up.
    void start(const std::string& program, const SimulatorPlan& plan);

    // Ends it, its mount included. Throws Failure where it had ended before.
    void stop();

private:
    bool waitReady(int fd) const;
    int end();

    pid_t process_ = -1;
    std::string mountedOn_;
};

// The simulator that belongs to this sandbox: beside it, or in the libexec folder of the same installation. Throws
// Failure where there is none.
std::string findSimulator();

}  // namespace sandbox

#endif
