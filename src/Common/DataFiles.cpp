#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Common/Handles.h"
#include "Common/KernelAnswers.h"
#include "Common/Log.h"

namespace {

constexpr mode_t kDataFileMode = 0440;  // the library runs as root and rewrites with a truncating open

void logWriteError(const std::string& path, int number) {
    const KernelAnswer* answer = findKernelAnswer(number);
    TARN_LOG(kLogError, "####ERROR: Write %s errno: %s", path.c_str(),
             answer != nullptr ? answer->text : std::strerror(number));
}

// 0 a regular file; 1 absent; -1 anything else, logged.
int checkRegularFile(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return 1;
        }
        TARN_LOG(kLogError, "readFileToVecImpl: lstat on %s failed: %s", path.c_str(), std::strerror(errno));
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        TARN_LOG(kLogError, "readFileToVecImpl: %s is not a regular file", path.c_str());
        return -1;
    }
    return 0;
}

// 0 opened; 1 vanished meanwhile; -1 failure, logged.
int openForReading(const std::string& path, UniqueFile& stream) {
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW));
    if (!fd.valid()) {
        if (errno == ENOENT) {
            return 1;
        }
        TARN_LOG(kLogError, "readFileToVecImpl: open %s failed: %s", path.c_str(), std::strerror(errno));
        return -1;
    }
    stream.reset(fdopen(fd.get(), "r"));
    if (!stream) {
        TARN_LOG(kLogError, "readFileToVecImpl: fdopen failed: %s", std::strerror(errno));
        return -1;
    }
    static_cast<void>(fd.release());  // the stream owns it now
    return 0;
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

int readLines(std::FILE* stream, const std::string& path, std::vector<std::string>& lines) {
    char* raw = nullptr;
    std::size_t size = 0;
    const ssize_t length = getdelim(&raw, &size, '\0', stream);
    int readErrno = errno;
    const std::unique_ptr<char, Free> text(raw);
    if (length > 0) {
        lines = Split(text.get(), '\n');
        return 0;
    }
    if (std::ferror(stream) == 0) {
        if (std::fgetc(stream) == EOF && std::feof(stream) != 0) {
            return 1;
        }
        readErrno = errno;
    }
    if (std::ferror(stream) != 0) {
        TARN_LOG(kLogError, "readFileToVecImpl: read %s error: %s", path.c_str(), std::strerror(readErrno));
        return -1;
    }
    return 0;
}

}  // namespace

int writeFileData(std::string path, const char* data, unsigned long length, unsigned int flags) {
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "####ERROR: Illegal path traversal detected: %s", path.c_str());
        return -1;
    }
    const UniqueFd fd(open(path.c_str(), static_cast<int>(flags), kDataFileMode));
    if (!fd.valid()) {
        TARN_LOG(kLogError, "####ERROR: Open %s failed", path.c_str());
        return -1;
    }
    // Only a negative 32-bit result is a failure: the kernel takes a message in one write, a short count is its
    // success.
    int result = 0;
    if (static_cast<int>(write(fd.get(), data, length)) < 0) {
        result = errno;
        logWriteError(path, result);
    }
    static_cast<void>(fsync(fd.get()));  // the kernel's entry refuses it with EINVAL
    return result;
}

int readFileToVecImpl(const std::string& path, std::vector<std::string>& lines, bool escapeCheckOnly) {
    if (escapeCheckOnly && HasPathEscape(path)) {
        TARN_LOG(kLogError, "readFileToVecImpl: path escape: %s", path.c_str());
        return -1;
    }
    if (!escapeCheckOnly && !IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "readFileToVecImpl: unsafe path %s", path.c_str());
        return -1;
    }
    int result = checkRegularFile(path);
    if (result != 0) {
        return result;
    }
    UniqueFile stream;
    result = openForReading(path, stream);
    return result != 0 ? result : readLines(stream.get(), path, lines);
}

int readFileToVec(std::string path, std::vector<std::string>& lines) {
    return readFileToVecImpl(path, lines, false);
}

std::vector<std::string> Split(const std::string& text, const char& delimiter) {
    std::vector<std::string> pieces;
    std::string piece;
    for (const char c : text) {
        if (c != delimiter) {
            piece += c;
        } else if (!piece.empty()) {
            pieces.push_back(std::move(piece));
            piece.clear();
        }
    }
    if (!piece.empty()) {
        pieces.push_back(std::move(piece));
    }
    return pieces;
}
