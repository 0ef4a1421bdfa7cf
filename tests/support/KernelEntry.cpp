#include "support/KernelEntry.h"

#include <cerrno>

namespace {

bool isKernelPath(const std::string& path) {
    return path.rfind("/sys/kernel/security/tarn/", 0) == 0;
}

}  // namespace

KernelEntry::KernelEntry()
    : openGuard_(interpose::open,
                 [this](const char* path, int flags, mode_t mode) { return onOpen(path, flags, mode); }),
      writeGuard_(interpose::write,
                  [this](int fd, const void* data, std::size_t count) { return onWrite(fd, data, count); }),
      fsyncGuard_(interpose::fsync,
                  [this](int fd) {
                      if (const std::string path = pathOf(fd); !path.empty()) {
                          const std::lock_guard lock(mutex_);
                          calls_.push_back({"fsync", path, 0, 0, {}});
                          // securityfs has no fsync; whoever looks at errno only now sees the wrong error.
                          errno = EINVAL;
                          return -1;
                      }
                      return interpose::fsync.real(fd);
                  }),
      closeGuard_(interpose::close, [this](int fd) {
          if (const std::string path = pathOf(fd); !path.empty()) {
              const std::lock_guard lock(mutex_);
              calls_.push_back({"close", path, 0, 0, {}});
              open_.erase(fd);
          }
          return interpose::close.real(fd);
      }) {}

void KernelEntry::refuse(std::size_t number, int error) {
    const std::lock_guard lock(mutex_);
    refusals_[number] = error;
}

void KernelEntry::beforeWrite(std::function<void(const std::string&)> function) {
    const std::lock_guard lock(mutex_);
    beforeWrite_ = std::move(function);
}

void KernelEntry::shortBy(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    shortBy_ = bytes;
}

std::vector<KernelEntry::Call> KernelEntry::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::vector<std::string> KernelEntry::messages() const {
    std::vector<std::string> result;
    for (const Call& call : calls()) {
        if (call.name == "write") {
            result.push_back(call.data);
        }
    }
    return result;
}

std::string KernelEntry::order() const {
    std::string result;
    for (const Call& call : calls()) {
        result += (result.empty() ? "" : " ") + call.name;
    }
    return result;
}

int KernelEntry::onOpen(const char* path, int flags, mode_t mode) {
    const int fd = interpose::open.real(path, flags, mode);
    if (isKernelPath(path)) {
        const std::lock_guard lock(mutex_);
        calls_.push_back({"open", path, flags, mode, {}});
        if (fd >= 0) {
            open_[fd] = path;
        }
    }
    return fd;
}

ssize_t KernelEntry::onWrite(int fd, const void* data, std::size_t count) {
    const std::string path = pathOf(fd);
    if (path.empty()) {
        return interpose::write.real(fd, data, count);
    }
    std::function<void(const std::string&)> before;
    int error = 0;
    std::size_t written = count;
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back({"write", path, 0, 0, std::string(static_cast<const char*>(data), count)});
        const auto refusal = refusals_.find(++writes_);
        error = refusal == refusals_.end() ? 0 : refusal->second;
        written -= shortBy_ < count ? shortBy_ : count;
        before = beforeWrite_;
    }
    if (before) {
        before(path);
    }
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<ssize_t>(written);
}

std::string KernelEntry::pathOf(int fd) const {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find(fd);
    return found == open_.end() ? std::string() : found->second;
}
