#include "Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Failure.h"

namespace {

void openMissingStandardDescriptors() {
    for (int fd = 0; fd <= 2; ++fd) {
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF) {
            // open() gives the lowest free number, which is this one.
            static_cast<void>(open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY));
        }
    }
}

}  // namespace

Output::Output() {
    openMissingStandardDescriptors();
    fd_.reset(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!fd_.valid() || dup2(STDERR_FILENO, STDOUT_FILENO) == -1) {
        throw Failure(ExitCode::kFailed, "take over standard output", std::strerror(errno), "");
    }
}

void Output::write(const std::string& text) {
    std::size_t done = 0;
    while (error_ == 0 && done < text.size()) {
        const ssize_t count = ::write(fd_.get(), text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
}
