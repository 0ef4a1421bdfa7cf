#include "FileTree.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "Common/Handles.h"
#include "Failure.h"

namespace fs = std::filesystem;

namespace sandbox {

namespace {

// Folders tell where another file system begins; files may report a device of their own below an overlay.
bool removeBelow(const std::string& path, dev_t device) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        return unlink(path.c_str()) == 0;
    }
    if (status.st_dev != device) {
        return false;
    }
    bool removed = true;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
        removed = removeBelow(entry.path(), device) && removed;
    }
    return removed && rmdir(path.c_str()) == 0;
}

bool isFolder(const std::string& path) {
    return fs::is_directory(fs::symlink_status(path));
}

void copyEntry(const fs::directory_entry& entry, const std::string& target) {
    const bool folder = isFolder(entry.path());
    if (isFolder(target) != folder) {
        static_cast<void>(removeTree(target));  // a kind of object never takes the place of another by itself
    }
    if (folder) {
        copyFolder(entry.path(), target);
    } else if (entry.is_symlink()) {
        std::error_code ignored;
        fs::remove(target, ignored);
        fs::copy_symlink(entry.path(), target);
    } else if (entry.is_regular_file()) {
        copyFile(entry.path(), target);
    }
}

void removeSurplus(const std::string& from, const std::string& to) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(to)) {
        names.push_back(entry.path().filename().string());
    }
    for (const std::string& name : names) {
        const std::string path = to + "/" + name;
        if (!fs::exists(fs::symlink_status(from + "/" + name))) {
            if (!removeTree(path)) {
                failWithErrno("cannot remove " + path);
            }
        } else if (isFolder(path)) {
            removeSurplus(from + "/" + name, path);
        }
    }
}

}  // namespace

void makeDirectories(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error) {
        throw Failure("cannot make " + path + ": " + error.message());
    }
}

void copyFile(const std::string& from, const std::string& to) {
    const UniqueFd source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!source.valid() || fstat(source.get(), &status) != 0) {
        failWithErrno("cannot read " + from);
    }
    // A file without write permission can't be opened again, so an old copy makes way.
    static_cast<void>(unlink(to.c_str()));
    const UniqueFd target(open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!target.valid()) {
        failWithErrno("cannot write " + to);
    }
    constexpr std::size_t kStep = std::size_t{1} << 30U;
    ssize_t copied = 0;
    while ((copied = sendfile(target.get(), source.get(), nullptr, kStep)) > 0) {
    }
    if (copied < 0 || fchmod(target.get(), status.st_mode & 07777U) != 0) {
        failWithErrno("cannot copy " + from + " to " + to);
    }
}

void copyFolder(const std::string& from, const std::string& to) {
    makeDirectories(to);
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
            copyEntry(entry, to + "/" + entry.path().filename().string());
        }
    } catch (const fs::filesystem_error& error) {
        throw Failure(error.what());
    }
}

void mirrorFolder(const std::string& from, const std::string& to) {
    copyFolder(from, to);
    removeSurplus(from, to);
}

bool removeTree(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && removeBelow(path, status.st_dev);
}

}  // namespace sandbox
