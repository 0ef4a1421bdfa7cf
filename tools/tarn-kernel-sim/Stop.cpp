#include "Stop.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace sim {

StopSignals::StopSignals() {
    sigset_t stop;
    sigemptyset(&stop);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&stop, signal);
    }
    sigprocmask(SIG_BLOCK, &stop, nullptr);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));  // a reader that left must not end us with the mount standing
    signals_.reset(signalfd(-1, &stop, SFD_CLOEXEC));
}

bool StopSignals::waitFor(int fd) const {
    std::array<pollfd, 2> waiting{{{signals_.get(), POLLIN, 0}, {fd, POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return waiting[0].revents == 0;
}

void announceReady(int fd) {
    if (fd < 0) {
        return;
    }
    const UniqueFd ready(fd);
    static_cast<void>(write(ready.get(), "+", 1));  // whoever stopped listening knows why
}

}  // namespace sim
