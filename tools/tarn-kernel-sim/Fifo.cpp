#include "Fifo.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Options.h"
#include "Stop.h"

namespace sim {

namespace {

constexpr std::size_t kReadSize = 65536;  // what a pipe holds

int openFifo(const std::string& path, UniqueFd& fifo) {
    UniqueFd opened(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!opened.valid() || fstat(opened.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISFIFO(status.st_mode)) {
        return EINVAL;
    }
    fifo =
        std::move(opened);  // an earlier one stays open until here, so that no writer finds the FIFO without a reader
    return 0;
}

int complain(const std::string& path, int error) {
    static_cast<void>(std::fprintf(stderr, "tarn-kernel-sim: can't read the FIFO %s: %s\n", path.c_str(),
                                   error == EINVAL ? "it is no FIFO" : std::strerror(error)));
    return kExitFailure;
}

void deliver(Simulator& simulator, const std::optional<std::string>& message) {
    if (message) {
        static_cast<void>(simulator.deliver(*message));  // there is nobody to tell
    }
}

// Judges everything that has arrived. 0, or the errno that stopped it.
int takeArrived(const std::string& path, UniqueFd& fifo, Framer& framer, Simulator& simulator) {
    std::vector<char> buffer(kReadSize);
    while (true) {
        const ssize_t count = read(fifo.get(), buffer.data(), buffer.size());
        if (count == 0) {
            deliver(simulator, framer.rest());
            return openFifo(path, fifo);
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno == EAGAIN ? 0 : errno;
        }
        framer.add(buffer.data(), static_cast<std::size_t>(count));
        for (auto message = framer.next(); message; message = framer.next()) {
            deliver(simulator, message);
        }
    }
}

}  // namespace

int serveFifo(const std::string& path, Simulator& simulator, int readyFd) {
    const StopSignals stop;
    UniqueFd fifo;
    if (const int error = openFifo(path, fifo); error != 0) {
        return complain(path, error);
    }
    static_cast<void>(
        std::fprintf(stderr, "tarn-kernel-sim: messages from a FIFO are checked, but can't be refused\n"));
    announceReady(readyFd);
    Framer framer;
    bool runs = true;
    while (runs) {
        runs = stop.waitFor(fifo.get());
        // Also at the end: the writers of what has arrived were told that it was taken.
        if (const int error = takeArrived(path, fifo, framer, simulator); error != 0) {
            return complain(path, error);
        }
    }
    deliver(simulator, framer.rest());
    return 0;
}

}  // namespace sim
