// A simulator that serves, and a host that writes to its entries.
#ifndef TARN_TESTS_RUNNING_SIMULATOR_H
#define TARN_TESTS_RUNNING_SIMULATOR_H

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include "Common/Handles.h"
#include "support/Process.h"

class RunningSimulator {
public:
    // Returns once the simulator serves. Throws std::runtime_error with what it said where it does not.
    explicit RunningSimulator(const std::vector<std::string>& arguments)
        : ready_(makePipe()), process_(words(arguments, ready_[1].get())) {
        ready_[1].reset();
        char byte = 0;
        if (read(ready_[0].get(), &byte, 1) != 1) {
            throw std::runtime_error("the simulator does not serve: " + process_.finish().err);
        }
    }

    testprocess::Outcome stop(int signal = SIGTERM) {
        static_cast<void>(kill(process_.pid(), signal));
        return process_.finish();
    }

private:
    static std::array<UniqueFd, 2> makePipe() {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0 || fcntl(ends[0], F_SETFD, FD_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        return {UniqueFd(ends[0]), UniqueFd(ends[1])};
    }

    static std::vector<std::string> words(const std::vector<std::string>& arguments, int readyFd) {
        std::vector<std::string> all{TARN_KERNEL_SIM_PROGRAM, "--ready-fd", std::to_string(readyFd)};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    std::array<UniqueFd, 2> ready_;
    testprocess::Running process_;
};

// As the library writes a message: one open, one write. 0, or the errno of whichever failed; a short write is -1.
inline int writeMessage(const std::string& path, const std::string& bytes) {
    const UniqueFd entry(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW, 0440));
    if (!entry.valid()) {
        return errno;
    }
    const ssize_t written = write(entry.get(), bytes.data(), bytes.size());
    if (written < 0) {
        return errno;
    }
    return written == static_cast<ssize_t>(bytes.size()) ? 0 : -1;
}

#endif
