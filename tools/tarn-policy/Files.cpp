#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Common/Handles.h"
#include "Failure.h"

namespace {

constexpr char kLookThere[] = "see what stands at that path, and move it out of the way";

Failure fileFailure(const char* verb, const std::string& path, int error) {
    return Failure(ExitCode::kFailed, std::string(verb) + " " + path, std::strerror(error), adviceForFile(error));
}

// The name of a file that was renamed is on disk only once its folder is.
void syncFolderOf(const std::string& path) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid() || fsync(fd.get()) != 0) {
        throw fileFailure("sync", folder, errno);
    }
}

}  // namespace

std::string adviceForFile(int error, const std::string& otherwise) {
    switch (error) {
        case EACCES:
        case EPERM:
            return geteuid() == 0 ? kLookThere : "run as root";
        case EROFS:
            return "make the file system writable (mount -o remount,rw)";
        case ENOSPC:
        case EDQUOT:
            return "make room on this file system, then run this again";
        case EISDIR:
        case ELOOP:
        case ENOTDIR:
            return kLookThere;
        default:
            return otherwise;
    }
}

int whyNoRoom(const std::string& folder) {
    constexpr off_t kMessage = 1048576;
    // A file without a name: gone with its descriptor.
    const UniqueFd fd(open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!fd.valid()) {
        return errno == EOPNOTSUPP || errno == EISDIR ? 0 : errno;  // this file system knows no such files
    }
    return posix_fallocate(fd.get(), 0, kMessage);
}

std::optional<FileTimes> fileTimes(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return FileTimes{{status.st_mtim.tv_sec, status.st_mtim.tv_nsec}, {status.st_ctim.tv_sec, status.st_ctim.tv_nsec}};
}

bool fileExists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

bool isFolder(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string readWholeFile(const std::string& path) {
    // Without O_NONBLOCK a FIFO in the file's place would hold the run here, and with it the lock.
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!fd.valid() || fstat(fd.get(), &status) != 0) {
        throw fileFailure("read", path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::kFailed, "read " + path, "it is not a regular file", kLookThere);
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
    const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kMode));
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

void replaceWholeFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    try {
        writeWholeFile(temporary, text);
        if (rename(temporary.c_str(), path.c_str()) != 0) {
            throw fileFailure("write", path, errno);
        }
    } catch (...) {
        static_cast<void>(unlink(temporary.c_str()));  // half a file is of no use; the failure is told
        throw;
    }
    syncFolderOf(path);
}

void removeFile(const std::string& path) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        throw fileFailure("remove", path, errno);
    }
}
