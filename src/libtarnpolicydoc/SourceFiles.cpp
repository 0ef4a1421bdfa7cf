#include "libtarnpolicydoc/SourceFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace policydoc {

namespace {

void note(const struct stat& info, SourceFile& file) {
    constexpr std::int64_t kNsPerSecond = 1000000000;
    file.device = info.st_dev;
    file.inode = info.st_ino;
    file.size = static_cast<std::uint64_t>(info.st_size);
    file.modifiedNs = std::int64_t{info.st_mtim.tv_sec} * kNsPerSecond + info.st_mtim.tv_nsec;
}

bool same(const SourceFile& a, const SourceFile& b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size && a.modifiedNs == b.modifiedNs;
}

}  // namespace

UniqueFd openSource(SourceFile& file, std::string& why) {
    // Without O_NONBLOCK the opening of a FIFO would wait for a writer before it could be refused.
    UniqueFd fd(open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!fd.valid() || fstat(fd.get(), &info) != 0) {
        why = std::strerror(errno);
        return UniqueFd();
    }
    if (!S_ISREG(info.st_mode)) {
        why = "not a regular file; it is read several times, so that a pipe can't serve";
        return UniqueFd();
    }
    note(info, file);
    return fd;
}

UniqueFd reopenSource(const SourceFile& file, const Reporter& report) {
    SourceFile now = file;
    std::string why;
    UniqueFd fd = openSource(now, why);
    if (!fd.valid()) {
        report.mistake(Path(), 0,
                       {"file", "can't be read again: " + why, "the file that was read before", "try again"});
    } else if (!same(now, file)) {
        report.mistake(Path(), 0,
                       {"file-changed", "the file has changed while it was worked on", "one and the same content",
                        "let nobody write to it and start again"});
        fd.reset();
    }
    return fd;
}

std::string besideDocument(const std::string& documentPath, const std::string& name) {
    const std::size_t slash = documentPath.rfind('/');
    if (slash == std::string::npos || name.rfind('/', 0) == 0) {
        return name;
    }
    return documentPath.substr(0, slash + 1) + name;
}

}  // namespace policydoc
