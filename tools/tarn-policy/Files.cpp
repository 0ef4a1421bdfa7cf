#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "Common/Handles.h"
#include "Failure.h"

namespace {

Failure fileFailure(const char* verb, const std::string& path, int error) {
    return Failure(ExitCode::kFailed, std::string(verb) + " " + path, std::strerror(error),
                   error == EACCES || error == EPERM ? "run as root" : "");
}

}  // namespace

bool fileExists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

bool isFolder(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string readWholeFile(const std::string& path) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!fd.valid() || fstat(fd.get(), &status) != 0) {
        throw fileFailure("read", path, errno);
    }
    std::string text;
    text.reserve(static_cast<std::size_t>(status.st_size));
    char block[65536];
    ssize_t count = 0;
    while ((count = read(fd.get(), block, sizeof block)) > 0) {
        text.append(block, static_cast<std::size_t>(count));
    }
    if (count < 0) {
        throw fileFailure("read", path, errno);
    }
    return text;
}

void writeWholeFile(const std::string& path, const std::string& text) {
    constexpr mode_t kMode = 0440;
    const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kMode));
    if (!fd.valid()) {
        throw fileFailure("write", path, errno);
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd.get(), text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            throw fileFailure("write", path, errno);
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    if (fsync(fd.get()) != 0) {
        throw fileFailure("sync", path, errno);
    }
}
