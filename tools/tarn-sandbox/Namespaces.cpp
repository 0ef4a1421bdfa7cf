#include "Namespaces.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Common/Handles.h"
#include "Failure.h"
#include "Layout.h"

namespace sandbox {

namespace {

constexpr mode_t kDirectoryMode = 0755;

[[noreturn]] void refuse(const std::string& what) {
    const std::string reason = std::strerror(errno);
    throw NamespaceRefused(what + ": " + reason);
}

void writeProcFile(const char* path, const std::string& text) {
    const UniqueFd fd(open(path, O_WRONLY | O_CLOEXEC));
    if (!fd.valid() || write(fd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        refuse(std::string("cannot write ") + path);
    }
}

// Ids of the caller become 0 inside. setgroups has to be given up before an unprivileged process may map its group.
void unshareWithUserNamespace() {
    const std::string uid = std::to_string(geteuid());
    const std::string gid = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        refuse("a user namespace is refused");
    }
    writeProcFile("/proc/self/setgroups", "deny");
    writeProcFile("/proc/self/uid_map", "0 " + uid + " 1");
    writeProcFile("/proc/self/gid_map", "0 " + gid + " 1");
}

// True where a user namespace was needed.
bool unshareMounts() {
    if (geteuid() == 0 && unshare(CLONE_NEWNS) == 0) {
        return false;
    }
    unshareWithUserNamespace();
    return true;
}

void mountTmpfs(const std::string& path) {
    if (mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
        refuse("cannot mount a private tmpfs on " + path);
    }
}

void makeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), kDirectoryMode) != 0 && errno != EEXIST) {
        refuse("cannot make " + path);
    }
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// An overlay with its upper layer in a tmpfs, which is mounted on a folder that gets its own tmpfs later and is
// detached again at once. False where the kernel has no overlay or refuses one more layer.
bool overlayEtc(bool inUserNamespace) {
    mountTmpfs(kVarLog);
    const std::string upper = std::string(kVarLog) + "/up";
    const std::string work = std::string(kVarLog) + "/work";
    makeDirectory(upper);
    makeDirectory(work);
    const std::string data =
        "lowerdir=/etc,upperdir=" + upper + ",workdir=" + work + (inUserNamespace ? ",userxattr" : "");
    const bool mounted = mount("overlay", kEtc, "overlay", 0, data.c_str()) == 0;
    if (umount2(kVarLog, MNT_DETACH) != 0) {
        refuse("cannot detach the scratch tmpfs");
    }
    return mounted;
}

std::vector<std::pair<std::string, struct stat>> entries(int directory) {
    const UniqueDir stream(fdopendir(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    std::vector<std::pair<std::string, struct stat>> result;
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        struct stat status {};
        if (name != "." && name != ".." && fstatat(directory, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
            result.emplace_back(name, status);
        }
    }
    return result;
}

void copyLink(int from, const std::string& name, const std::string& to) {
    char target[4096];
    const ssize_t length = readlinkat(from, name.c_str(), target, sizeof target - 1);
    if (length > 0) {
        target[length] = '\0';
        static_cast<void>(symlink(target, to.c_str()));
    }
}

// A tmpfs over a folder with every old entry bound in its place: what stood there stays usable, mounts below it
// included, and new entries can be made.
void shadowByBinds(const std::string& folder) {
    const UniqueFd old(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const auto names = entries(old.get());
    mountTmpfs(folder);
    for (const auto& [name, status] : names) {
        const std::string target = folder + "/" + name;
        if (S_ISLNK(status.st_mode)) {
            copyLink(old.get(), name, target);
            continue;
        }
        if (S_ISDIR(status.st_mode)) {
            makeDirectory(target);
        } else {
            UniqueFd(open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        }
        const std::string source = "/proc/self/fd/" + std::to_string(old.get()) + "/" + name;
        if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            refuse("cannot bind " + target);
        }
    }
}

// Makes sure that the folder exists as a mount point, without making it on the machine.
void provideDirectory(const std::string& path) {
    if (isDirectory(path)) {
        return;
    }
    const std::string parent = path.substr(0, path.rfind('/'));
    if (parent.empty()) {
        throw NamespaceRefused("this machine has no " + path);
    }
    provideDirectory(parent);
    if (!isDirectory(path)) {
        shadowByBinds(parent);
        makeDirectory(path);
    }
}

std::string workingDirectory() {
    char* raw = getcwd(nullptr, 0);
    if (raw == nullptr) {
        failWithErrno("cannot tell the working directory");
    }
    std::string path = raw;
    free(raw);
    return path;
}

// An overlay keeps from the disk whatever is written below /etc, so it can't serve where some of that shall stay.
void providePrivateEtc(bool inUserNamespace, bool throughToDisk) {
    if (throughToDisk || !overlayEtc(inUserNamespace)) {
        if (!isDirectory(kEtcTarn)) {
            shadowByBinds(kEtc);
        }
    }
    makeDirectory(kEtcTarn);
}

// Opened before anything is mounted, for the mounts may hide it; and after the namespace was made, for one mount
// namespace can't bind what was opened in another.
UniqueFd openEtcDirectory(const std::string& path) {
    if (path.empty()) {
        return {};
    }
    UniqueFd directory(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) {
        failWithErrno("cannot use --etc " + path);
    }
    return directory;
}

}  // namespace

void enterNamespaces(const std::string& etcDirectory, const std::vector<std::string>& written) {
    const std::string cwd = workingDirectory();
    const bool inUserNamespace = unshareMounts();
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        refuse("cannot make the mounts private");
    }
    const UniqueFd etc = openEtcDirectory(etcDirectory);
    provideDirectory(kVarLog);
    provideDirectory(kSecurity);
    provideDirectory(kRunLock);
    const bool throughToDisk = isBelow(cwd, kEtc) || std::any_of(written.begin(), written.end(),
                                                                 [](const auto& path) { return isBelow(path, kEtc); });
    providePrivateEtc(inUserNamespace, throughToDisk);
    if (etc.valid()) {
        const std::string source = "/proc/self/fd/" + std::to_string(etc.get());
        if (mount(source.c_str(), kEtcTarn, nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            failWithErrno("cannot bind " + etcDirectory + " as " + kEtcTarn);
        }
    } else {
        mountTmpfs(kEtcTarn);
    }
    mountTmpfs(kVarLog);
    mountTmpfs(kSecurity);
    mountTmpfs(kRunLock);  // a private set has a private lock
    makeDirectory(kSecurityTarn);
    // The old working directory may lie below one of the mounts: enter it again by its name.
    if (chdir(cwd.c_str()) != 0) {
        failWithErrno("the working directory " + cwd + " is hidden inside the sandbox; start it from elsewhere");
    }
}

}  // namespace sandbox
