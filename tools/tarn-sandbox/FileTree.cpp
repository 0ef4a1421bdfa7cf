#include "FileTree.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "Common/Handles.h"
#include "Failure.h"

namespace fs = std::filesystem;

namespace sandbox {

namespace {

int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

void copyEntry(const fs::directory_entry& entry, const std::string& target) {
    if (entry.is_symlink()) {
        std::error_code ignored;
        fs::remove(target, ignored);
        fs::copy_symlink(entry.path(), target);
    } else if (entry.is_directory()) {
        copyFolder(entry.path(), target);
    } else if (entry.is_regular_file()) {
        copyFile(entry.path(), target);
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
    for (const fs::directory_entry& entry : fs::directory_iterator(to)) {
        const std::string name = entry.path().filename().string();
        if (!fs::exists(fs::symlink_status(from + "/" + name)) && !removeTree(entry.path())) {
            failWithErrno("cannot remove " + entry.path().string());
        }
        if (entry.is_directory() && !entry.is_symlink()) {
            mirrorFolder(from + "/" + name, entry.path());
        }
    }
}

bool removeTree(const std::string& path) {
    constexpr int kDescriptors = 16;
    return nftw(path.c_str(), removeEntry, kDescriptors, FTW_DEPTH | FTW_PHYS | FTW_MOUNT) == 0;
}

}  // namespace sandbox
