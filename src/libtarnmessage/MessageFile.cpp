#include "libtarnmessage/MessageFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "Common/Handles.h"
#include "libtarnpolicysync/KernelMessage.h"

namespace tarnmessage {

namespace {

constexpr std::size_t kMostBytes = kernelmsg::kMessageCapacity + 1;

// Fills the buffer as far as the file goes. 0, or an errno.
int readAll(int fd, char* buffer, std::size_t& used) {
    while (used < kMostBytes) {
        const ssize_t count = read(fd, buffer + used, kMostBytes - used);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            return 0;
        }
        used += static_cast<std::size_t>(count);
    }
    return 0;
}

}  // namespace

MessageFile::MessageFile() : buffer_(std::make_unique<char[]>(kMostBytes)) {}

int MessageFile::read(const std::string& path) {
    used_ = 0;
    status_ = FileStatus{};
    // Non-blocking, for a FIFO in place of the file would hold the open until somebody writes.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    status_ = {status.st_mode, status.st_uid, status.st_gid, static_cast<std::uint64_t>(status.st_size)};
    const int failure = readAll(file.get(), buffer_.get(), used_);
    if (failure != 0) {
        used_ = 0;
    }
    return failure;
}

}  // namespace tarnmessage
