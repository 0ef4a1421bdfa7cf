#include "Lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

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

int openLockFile() {
    return open(SetLock::kPath, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode);
}

}  // namespace

SetLock::SetLock() {
    fd_.reset(openLockFile());
    if (!fd_.valid() && errno == ENOENT) {
        static_cast<void>(mkdir("/run/lock", kFolderMode));  // the second open says what is wrong
        fd_.reset(openLockFile());
    }
    if (!fd_.valid()) {
        const int error = errno;
        throw Failure(ExitCode::kFailed, std::string("open the lock file ") + kPath, std::strerror(error),
                      error == EACCES || error == EPERM ? "run as root" : "make the folder /run/lock usable for root");
    }
    if (flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error == EWOULDBLOCK) {
            throw Failure(ExitCode::kBusy, std::string("lock ") + kPath, holderOf(fd_.get()) + " holds it",
                          "wait until it has ended, then run this again");
        }
        throw Failure(ExitCode::kFailed, std::string("lock ") + kPath, std::strerror(error), "");
    }
}
