#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "Common/DirectoryStream.h"
#include "Common/Log.h"

namespace {

constexpr int kOpenSource = O_RDONLY | O_NOFOLLOW;
constexpr int kOpenTarget = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
constexpr mode_t kDirectoryMode = 0750;
constexpr mode_t kPermissionBits = 0777;

bool isDotEntry(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// By value: a null argument throws here, whatever the other one is.
bool areSafePaths(const std::string from, const std::string to) {
    return IsSafeAbsolutePath(from) && IsSafeAbsolutePath(to);
}

struct SplitPath {
    std::string parent;
    std::string base;
};

// Splits at the last "/"; false when there is none.
bool splitPath(const std::string& path, SplitPath& split) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return false;
    }
    split.parent = path.substr(0, slash);
    split.base = path.substr(slash + 1);
    return true;
}

// Takes the descriptor; null, with the descriptor closed and one message, when no stream can be made of it.
UniqueDir openStream(UniqueFd fd, const char* name) {
    UniqueDir stream = makeDirectoryStream(std::move(fd));
    if (!stream) {
        TARN_LOG(kLogError, "fdopendir failed for %s", name);
    }
    return stream;
}

int removeTree(int parent, const char* name);

int removeEntry(int directory, const char* name) {
    struct stat status {};
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        TARN_LOG(kLogError, "fstatat %s failed: %s", name, std::strerror(errno));
        return 0;  // what is left makes the removal of the directory itself fail
    }
    if (S_ISDIR(status.st_mode)) {
        return removeTree(directory, name);
    }
    if (unlinkat(directory, name, 0) != 0) {
        TARN_LOG(kLogError, "unlinkat %s failed: %s", name, std::strerror(errno));
        return 1;
    }
    return 0;
}

int removeTree(int parent, const char* name) {
    UniqueFd fd(openat(parent, name, kOpenDirectory));
    if (!fd.valid()) {
        TARN_LOG(kLogError, "openat %s failed: %s", name, std::strerror(errno));
        return 1;
    }
    UniqueDir stream = openStream(std::move(fd), name);
    if (!stream) {
        return 1;
    }
    while (const dirent* entry = readdir(stream.get())) {
        if (!isDotEntry(entry->d_name) && removeEntry(dirfd(stream.get()), entry->d_name) != 0) {
            return 1;
        }
    }
    stream.reset();
    if (unlinkat(parent, name, AT_REMOVEDIR) != 0) {
        TARN_LOG(kLogError, "unlinkat remove %s failed: %s", name, std::strerror(errno));
        return 1;
    }
    return 0;
}

// Copies `size` bytes. A source that shrank meanwhile ends the copy. On failure errno tells why.
bool copyBytes(int source, int target, off_t size) {
    off_t offset = 0;
    while (offset < size) {
        const ssize_t count = sendfile(target, source, &offset, static_cast<std::size_t>(size - offset));
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            return false;
        }
    }
    return true;
}

// A file that can't be copied is logged and skipped.
void copyEntry(int sourceDirectory, int targetDirectory, const char* name, const struct stat& status) {
    const UniqueFd source(openat(sourceDirectory, name, kOpenSource));
    if (!source.valid()) {
        TARN_LOG(kLogError, "openat source file %s failed: %s", name, std::strerror(errno));
        return;
    }
    const UniqueFd target(openat(targetDirectory, name, kOpenTarget, status.st_mode & kPermissionBits));
    if (!target.valid()) {
        TARN_LOG(kLogError, "openat dest file %s failed: %s", name, std::strerror(errno));
        return;
    }
    if (!copyBytes(source.get(), target.get(), status.st_size)) {
        TARN_LOG(kLogError, "sendfile %s failed: %s", name, std::strerror(errno));
    }
}

int copyTree(int sourceParent, int targetParent, const char* name);

int copyAny(int sourceDirectory, int targetDirectory, const char* name) {
    struct stat status {};
    if (fstatat(sourceDirectory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        TARN_LOG(kLogError, "fstatat %s failed: %s", name, std::strerror(errno));
        return 0;
    }
    if (S_ISDIR(status.st_mode)) {
        return copyTree(sourceDirectory, targetDirectory, name);
    }
    copyEntry(sourceDirectory, targetDirectory, name, status);
    return 0;
}

UniqueFd makeTargetDirectory(int targetParent, const char* name) {
    if (mkdirat(targetParent, name, kDirectoryMode) != 0 && errno != EEXIST) {
        TARN_LOG(kLogError, "mkdirat dest subdir %s failed: %s", name, std::strerror(errno));
        return UniqueFd();
    }
    UniqueFd target(openat(targetParent, name, kOpenDirectory));
    if (!target.valid()) {
        TARN_LOG(kLogError, "openat dest subdir %s failed: %s", name, std::strerror(errno));
    }
    return target;
}

int copyTree(int sourceParent, int targetParent, const char* name) {
    UniqueFd source(openat(sourceParent, name, kOpenDirectory));
    if (!source.valid()) {
        TARN_LOG(kLogError, "openat source subdir %s failed: %s", name, std::strerror(errno));
        return 1;
    }
    const UniqueFd target = makeTargetDirectory(targetParent, name);
    if (!target.valid()) {
        return 1;
    }
    const UniqueDir stream = openStream(std::move(source), name);
    if (!stream) {
        return 1;
    }
    while (const dirent* entry = readdir(stream.get())) {
        if (!isDotEntry(entry->d_name) && copyAny(dirfd(stream.get()), target.get(), entry->d_name) != 0) {
            return 1;
        }
    }
    return 0;
}

// The parent directory, or an invalid descriptor after one message in the words of `format`.
UniqueFd openParent(const std::string& parent, const char* format) {
    UniqueFd fd(open(parent.c_str(), kOpenDirectory));
    if (!fd.valid()) {
        TARN_LOG(kLogError, format, parent.c_str(), std::strerror(errno));
    }
    return fd;
}

UniqueFd openOrMakeDirectory(const char* path) {
    UniqueFd fd(open(path, kOpenDirectory));
    if (fd.valid()) {
        return fd;
    }
    if (mkdir(path, kDirectoryMode) != 0 && errno != EEXIST) {
        TARN_LOG(kLogError, "mkdir dest %s failed: %s", path, std::strerror(errno));
        return fd;
    }
    fd.reset(open(path, kOpenDirectory));
    if (!fd.valid()) {
        TARN_LOG(kLogError, "open dest dir %s failed: %s", path, std::strerror(errno));
    }
    return fd;
}

}  // namespace

int removeDirectory(const char* path) {
    const std::string full = path;
    if (!IsSafeAbsolutePath(full)) {
        TARN_LOG(kLogError, "##ERROR: removeDirectory illegal path %s", path);
        return 1;
    }
    SplitPath split;
    if (!splitPath(full, split)) {
        TARN_LOG(kLogError, "Invalid path (no slash): %s", path);
        return 1;
    }
    if (split.base.empty() || isDotEntry(split.base.c_str())) {
        TARN_LOG(kLogError, "Invalid base component: %s", split.base.c_str());
        return 1;
    }
    const UniqueFd parent = openParent(split.parent, "open parent %s failed: %s");
    return parent.valid() ? removeTree(parent.get(), split.base.c_str()) : 1;
}

int createDirectory(const char* path) {
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "##ERROR: createDirectory illegal path %s", path);
        return 1;
    }
    if (mkdir(path, kDirectoryMode) != 0) {
        TARN_LOG(kLogError, "##ERROR: in func %s, mkdir error: %s", "createDirectory", std::strerror(errno));
        return 1;
    }
    return 0;
}

int renameFile(const char* from, const char* to) {
    if (!areSafePaths(from, to)) {
        TARN_LOG(kLogError, "##ERROR: renameFile illegal path");
        return -1;
    }
    SplitPath oldSplit;
    SplitPath newSplit;
    if (!splitPath(from, oldSplit) || !splitPath(to, newSplit)) {
        TARN_LOG(kLogError, "Invalid path (no slash)");
        return -1;
    }
    const UniqueFd oldParent = openParent(oldSplit.parent, "open old parent %s failed: %s");
    if (!oldParent.valid()) {
        return -1;
    }
    const UniqueFd newParent = openParent(newSplit.parent, "open new parent %s failed: %s");
    if (!newParent.valid()) {
        return -1;
    }
    if (renameat(oldParent.get(), oldSplit.base.c_str(), newParent.get(), newSplit.base.c_str()) == 0) {
        return 0;
    }
    if (errno != ENOENT) {  // a source that is already gone is a quiet failure
        TARN_LOG(kLogError, "renameat from %s to %s failed: %s", from, to, std::strerror(errno));
    }
    return 1;
}

int renameDir(const char* from, const char* to) {
    if (!areSafePaths(from, to)) {
        TARN_LOG(kLogError, "##ERROR: renameDir illegal path");
        return 1;
    }
    if (pathExist(to) && removeDirectory(to) != 0) {
        TARN_LOG(kLogError, "##ERROR: in func %s, remove error.", "renameDir");
        return 1;
    }
    return renameFile(from, to);
}

int copyFile(const char* from, const char* to) {
    if (!areSafePaths(from, to)) {
        TARN_LOG(kLogError, "##ERROR: copyFile illegal path src=%s dest=%s", from, to);
        return 1;
    }
    const UniqueFd source(open(from, kOpenSource));
    if (!source.valid()) {
        TARN_LOG(kLogError, "##ERROR: in func %s, src error: %s", "copyFile", std::strerror(errno));
        return 1;
    }
    struct stat status {};
    if (fstat(source.get(), &status) != 0) {
        TARN_LOG(kLogError, "fstat src %s failed: %s", from, std::strerror(errno));
        return 1;
    }
    const UniqueFd target(open(to, kOpenTarget, status.st_mode & kPermissionBits));
    if (!target.valid()) {
        TARN_LOG(kLogError, "##ERROR: in func %s, dest error: %s", "copyFile", std::strerror(errno));
        return 1;
    }
    if (!copyBytes(source.get(), target.get(), status.st_size)) {
        TARN_LOG(kLogError, "sendfile failed: %s", std::strerror(errno));
        return 1;
    }
    return 0;
}

int copyDirectory(const char* from, const char* to) {
    if (!areSafePaths(from, to)) {
        TARN_LOG(kLogError, "##ERROR: copyDirectory illegal path");
        return 1;
    }
    // Tested for zero, not for failure: a failed open goes on and is reported by the tree copier, for the name ".",
    // when the destination stands already or was made. Operators know that message.
    const UniqueFd source(open(from, kOpenDirectory));
    if (source.get() == 0) {
        TARN_LOG(kLogError, "##ERROR: in func %s, open srcdir error: %s", "copyDirectory", std::strerror(errno));
        return 1;
    }
    const UniqueFd target = openOrMakeDirectory(to);
    return target.valid() ? copyTree(source.get(), target.get(), ".") : 1;
}
