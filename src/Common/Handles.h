// Owners of a descriptor, a directory stream and a stdio stream: closed when they go out of scope, moved, never copied.
// release() hands the raw handle over; where a stream stays open by design it stands there with the reason.
#ifndef TARN_COMMON_HANDLES_H
#define TARN_COMMON_HANDLES_H

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            static_cast<void>(close(fd_));  // nothing that could be done about a failing close
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

struct DirCloser {
    void operator()(DIR* dir) const { static_cast<void>(closedir(dir)); }
};
using UniqueDir = std::unique_ptr<DIR, DirCloser>;

struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

#endif
