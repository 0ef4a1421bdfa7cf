#include "Lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "Failure.h"

namespace {

constexpr mode_t kFileMode = 0600;  // whoever may open it may hold it, and so keep the administrator out
constexpr mode_t kFolderMode = 0755;

std::string nameOfProcess(const std::string& pid) {
    std::ifstream stream("/proc/" + pid + "/comm");
    std::string name;
    std::getline(stream, name);
    return name.empty() ? "process " + pid : name + " (process " + pid + ")";
}

// /proc/locks writes "1: FLOCK  ADVISORY  WRITE 4711 00:1b:96 0 EOF": process, then device and inode of the file.
std::string holderOf(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return "another process";
    }
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream fields(line);
        std::string number;
        std::string kind;
        std::string mode;
        std::string access;
        std::string pid;
        std::string file;
        fields >> number >> kind >> mode >> access >> pid >> file;
        unsigned int majorPart = 0;
        unsigned int minorPart = 0;
        unsigned long inode = 0;
        if (kind == "FLOCK" && std::sscanf(file.c_str(), "%x:%x:%lu", &majorPart, &minorPart, &inode) == 3 &&
            inode == status.st_ino && majorPart == major(status.st_dev) && minorPart == minor(status.st_dev)) {
            return nameOfProcess(pid);
        }
    }
    return "another process";
}

Failure cannotOpen(int error) {
    return Failure(ExitCode::kFailed, std::string("open the lock file ") + SetLock::kPath, std::strerror(error),
                   error == EACCES || error == EPERM ? "run as root"
                                                     : "make the folder /run/lock usable for root, and see what "
                                                       "stands at that path");
}

int openLockFile(int more) {
    return open(SetLock::kPath, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | more, kFileMode);
}

// Everybody may make files in that folder. Only root makes this one, and never opens it with O_CREAT where it stands: the
// kernel refuses that for somebody else's file with a bare EACCES.
UniqueFd openOrMakeLockFile() {
    UniqueFd fd(openLockFile(0));
    if (fd.valid() || errno != ENOENT) {
        return fd;
    }
    if (geteuid() != 0) {
        throw Failure(ExitCode::kFailed, std::string("open the lock file ") + SetLock::kPath,
                      "it does not exist, and only root makes it", "run as root");
    }
    static_cast<void>(mkdir("/run/lock", kFolderMode));  // the next open says what is wrong
    fd.reset(openLockFile(O_CREAT | O_EXCL));
    if (!fd.valid() && errno == EEXIST) {  // another process was faster
        fd.reset(openLockFile(0));
    }
    return fd;
}

// Whoever owns the file may hold it for ever.
void requireOwnFile(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        throw cannotOpen(errno);
    }
    const std::string tried = std::string("use the lock file ") + SetLock::kPath;
    const std::string advice =
        std::string("remove it as root (rm ") + SetLock::kPath + ") while nobody works on the set, then run this again";
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::kFailed, tried, "it is not a regular file", advice);
    }
    if (status.st_uid != 0) {
        throw Failure(ExitCode::kFailed, tried,
                      "it belongs to user " + std::to_string(status.st_uid) +
                          " and not to root, so that this user could keep everybody out",
                      advice);
    }
}

}  // namespace

SetLock::SetLock() : fd_(openOrMakeLockFile()) {
    if (!fd_.valid()) {
        throw cannotOpen(errno);
    }
    requireOwnFile(fd_.get());
    if (flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error == EWOULDBLOCK) {
            throw Failure(ExitCode::kBusy, std::string("lock ") + kPath, holderOf(fd_.get()) + " holds it",
                          "wait until it has ended, then run this again");
        }
        throw Failure(ExitCode::kFailed, std::string("lock ") + kPath, std::strerror(error), "");
    }
}
