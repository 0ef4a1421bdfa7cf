// Stands between the library and the C library: a test puts a function of its own in the place of one of those below.
// Only programs that link tarn_test_interpose have this; without a replacement every call goes straight on.
//
//     auto hook = interpose::write.replace([&](int fd, const void* data, std::size_t count) -> ssize_t {
//         errno = EPROTO;
//         return -1;
//     });
//
// The replacement holds as long as what replace() returned. It may run in several threads at once. What it calls itself
// reaches the real functions, never a replacement; real() calls them by name.
#ifndef TARN_TESTS_INTERPOSE_H
#define TARN_TESTS_INTERPOSE_H

#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <functional>
#include <utility>

namespace interpose {

// True while this thread runs a replacement.
bool& insideReplacement();

template <typename Signature>
class Slot;

template <typename Result, typename... Arguments>
class Slot<Result(Arguments...)> {
public:
    using Function = std::function<Result(Arguments...)>;

    class Guard {
    public:
        Guard(Slot& slot, Function function) : slot_(slot), function_(std::move(function)), before_(slot.function_) {
            slot_.function_ = &function_;
        }
        ~Guard() { slot_.function_ = before_; }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        Slot& slot_;
        Function function_;
        const Function* before_;
    };

    constexpr explicit Slot(const char* name) : name_(name) {}

    [[nodiscard]] Guard replace(Function function) { return Guard(*this, std::move(function)); }

    // The C library's own (or the sanitizer's, where one is built in).
    Result real(Arguments... arguments) const {
        using Pointer = Result (*)(Arguments...);
        static_assert(sizeof(Pointer) == sizeof(void*));
        const auto pointer = reinterpret_cast<Pointer>(dlsym(RTLD_NEXT, name_));
        return pointer(arguments...);
    }

    Result call(Arguments... arguments) const {
        if (function_ == nullptr || insideReplacement()) {
            return real(arguments...);
        }
        const Inside inside;
        return (*function_)(arguments...);
    }

private:
    struct Inside {
        Inside() { insideReplacement() = true; }
        ~Inside() { insideReplacement() = false; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
    };

    const char* name_;
    const Function* function_ = nullptr;
};

// name, result, parameters, arguments. The names are those of the C library's symbols.
#define TARN_INTERPOSED_FUNCTIONS(ENTRY)                                                                       \
    ENTRY(access, int, (const char* path, int mode), (path, mode))                                             \
    ENTRY(chmod, int, (const char* path, mode_t mode), (path, mode))                                           \
    ENTRY(close, int, (int fd), (fd))                                                                          \
    ENTRY(closedir, int, (DIR * directory), (directory))                                                       \
    ENTRY(fchmod, int, (int fd, mode_t mode), (fd, mode))                                                      \
    ENTRY(fdopen, FILE*, (int fd, const char* mode), (fd, mode))                                               \
    ENTRY(fdopendir, DIR*, (int fd), (fd))                                                                     \
    ENTRY(fstat, int, (int fd, struct stat* status), (fd, status))                                             \
    ENTRY(fstatat, int, (int fd, const char* path, struct stat* status, int flags), (fd, path, status, flags)) \
    ENTRY(fsync, int, (int fd), (fd))                                                                          \
    ENTRY(get_nprocs, int, (), ())                                                                             \
    ENTRY(getdelim, ssize_t, (char** line, std::size_t* size, int delimiter, FILE* stream),                    \
          (line, size, delimiter, stream))                                                                     \
    ENTRY(localtime_r, struct tm*, (const std::time_t* time, struct tm* result), (time, result))               \
    ENTRY(lstat, int, (const char* path, struct stat* status), (path, status))                                 \
    ENTRY(mkdir, int, (const char* path, mode_t mode), (path, mode))                                           \
    ENTRY(mkdirat, int, (int fd, const char* path, mode_t mode), (fd, path, mode))                             \
    ENTRY(open, int, (const char* path, int flags, mode_t mode), (path, flags, mode))                          \
    ENTRY(openat, int, (int fd, const char* path, int flags, mode_t mode), (fd, path, flags, mode))            \
    ENTRY(opendir, DIR*, (const char* path), (path))                                                           \
    ENTRY(pthread_create, int,                                                                                 \
          (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument),       \
          (thread, attributes, start, argument))                                                               \
    ENTRY(pthread_mutex_lock, int, (pthread_mutex_t * mutex), (mutex))                                         \
    ENTRY(pthread_mutex_unlock, int, (pthread_mutex_t * mutex), (mutex))                                       \
    ENTRY(read, ssize_t, (int fd, void* data, std::size_t count), (fd, data, count))                           \
    ENTRY(readdir, struct dirent*, (DIR * directory), (directory))                                             \
    ENTRY(realpath, char*, (const char* path, char* resolved), (path, resolved))                               \
    ENTRY(renameat, int, (int oldFd, const char* oldPath, int newFd, const char* newPath),                     \
          (oldFd, oldPath, newFd, newPath))                                                                    \
    ENTRY(sendfile, ssize_t, (int out, int in, off_t* offset, std::size_t count), (out, in, offset, count))    \
    ENTRY(setlocale, char*, (int category, const char* locale), (category, locale))                            \
    ENTRY(stat, int, (const char* path, struct stat* status), (path, status))                                  \
    ENTRY(time, std::time_t, (std::time_t * result), (result))                                                 \
    ENTRY(unlink, int, (const char* path), (path))                                                             \
    ENTRY(unlinkat, int, (int fd, const char* path, int flags), (fd, path, flags))                             \
    ENTRY(write, ssize_t, (int fd, const void* data, std::size_t count), (fd, data, count))

// A declared name takes no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define TARN_INTERPOSED_SLOT(name, result, parameters, arguments) extern Slot<result parameters> name;
TARN_INTERPOSED_FUNCTIONS(TARN_INTERPOSED_SLOT)
#undef TARN_INTERPOSED_SLOT
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace interpose

#endif
