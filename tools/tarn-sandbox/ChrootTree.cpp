#include "ChrootTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Common/Handles.h"
#include "Failure.h"
#include "FileTree.h"
#include "Layout.h"
#include "Programs.h"

namespace fs = std::filesystem;

namespace sandbox {

namespace {

struct Device {
    const char* path;
    unsigned int majorNumber;
    unsigned int minorNumber;
};
constexpr Device kDevices[] = {
    {"/dev/null", 1, 3},   {"/dev/zero", 1, 5},    {"/dev/full", 1, 7},
    {"/dev/random", 1, 8}, {"/dev/urandom", 1, 9}, {"/dev/tty", 5, 0},
};

// Names, time zone and the loader's index; without them programs run, but find fewer things.
constexpr const char* kSmallFiles[] = {"/etc/passwd", "/etc/group", "/etc/nsswitch.conf", "/etc/localtime",
                                       "/etc/ld.so.cache"};
// Links on systems that keep everything below /usr. Programs name their loader and their interpreter through them.
constexpr const char* kTopLinks[] = {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"};

bool isRegular(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Paths that are private, or that describe the machine rather than hold files.
bool isNotToBring(const std::string& path) {
    return isPrivate(path) || isBelow(path, "/proc") || isBelow(path, "/sys") || isBelow(path, "/dev");
}

// Where device nodes may not be made the command goes without: a plain file in their place would keep what is written.
void makeDevices(const std::string& root) {
    for (const Device& device : kDevices) {
        const std::string path = root + device.path;
        if (mknod(path.c_str(), S_IFCHR | 0666, makedev(device.majorNumber, device.minorNumber)) == 0) {
            static_cast<void>(chmod(path.c_str(), 0666));  // mknod's mode is cut by the umask
        }
    }
}

void copyTopLinks(const std::string& root) {
    for (const char* link : kTopLinks) {
        std::error_code error;
        const fs::path target = fs::read_symlink(link, error);
        // An absolute target would lead out of the tree while it is being filled.
        if (!error && target.is_relative()) {
            makeDirectories(root + "/" + target.string());
            fs::create_symlink(target, root + link, error);
        }
    }
}

std::string temporaryFolder() {
    const char* chosen = std::getenv("TMPDIR");
    return fs::path(chosen != nullptr && *chosen == '/' ? chosen : "/tmp").lexically_normal().string();
}

// A folder that holds the copies would be copied into itself without end.
void requireOutside(const std::string& base, const Options& options) {
    std::vector<std::string> copied = options.brought;
    copied.push_back(options.etcDirectory);
    for (const std::string& path : copied) {
        if (!path.empty() && (path == "/" || isBelow(base, path))) {
            throw Failure("cannot copy " + path +
                          ", which holds the folder of copies itself; name a smaller folder, or " +
                          "set TMPDIR to one outside");
        }
    }
}

}  // namespace

bool ChrootTree::allowed() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(chroot("/") == 0 ? 0 : 1);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

ChrootTree::ChrootTree(const Options& options)
    : workingDirectory_(fs::current_path().string()), etcDirectory_(options.etcDirectory) {
    const std::string base = temporaryFolder();
    requireOutside(base, options);
    root_ = base + "/tarn-sandbox.XXXXXX";
    if (mkdtemp(root_.data()) == nullptr) {
        failWithErrno("cannot make " + root_);
    }
    try {
        layOut();
        bringArguments(options.command);
        for (const std::string& path : options.brought) {
            bring(path);
        }
    } catch (...) {
        static_cast<void>(removeTree(root_));
        throw;
    }
}

ChrootTree::~ChrootTree() {
    static_cast<void>(removeTree(root_));
}

void ChrootTree::layOut() {
    static_cast<void>(chmod(root_.c_str(), 0755));
    for (const char* folder : {"/etc", "/dev", "/proc", "/tmp", kRunLock, "/root", kVarLog, kSecurityTarn}) {
        makeDirectories(root_ + folder);
    }
    static_cast<void>(chmod((root_ + "/tmp").c_str(), 01777));
    copyTopLinks(root_);
    makeDevices(root_);
    for (const char* file : kSmallFiles) {
        if (isRegular(file)) {
            copyFile(file, root_ + file);
        }
    }
    // The library asks this file what is mounted; here nothing is.
    const UniqueFd mounts(open((root_ + "/proc/mounts").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0444));
    makeDirectories(root_ + workingDirectory_);
    if (etcDirectory_.empty()) {
        makeDirectories(root_ + kEtcTarn);
    } else {
        copyFolder(etcDirectory_, root_ + kEtcTarn);
    }
}

void ChrootTree::bringFile(const std::string& path) {
    if (!brought_.insert(path).second) {
        return;
    }
    makeDirectories(root_ + fs::path(path).parent_path().string());
    copyFile(path, root_ + path);
    for (const std::string& need : needsOf(path)) {
        if (isRegular(need)) {
            bringFile(need);
        }
    }
}

void ChrootTree::bring(const std::string& path) {
    if (isRegular(path)) {
        bringFile(path);
        return;
    }
    if (!fs::is_directory(path)) {
        throw Failure("cannot bring " + path + ": no file or folder");
    }
    makeDirectories(root_ + path);
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(path, fs::directory_options::skip_permission_denied)) {
        if (entry.is_regular_file()) {
            bringFile(entry.path());
        } else if (entry.is_directory()) {
            makeDirectories(root_ + entry.path().string());
        }
    }
}

// The command, and every argument that names a file, be it behind the "=" of an option.
void ChrootTree::bringArguments(char** command) {
    const std::string program = findProgram(command[0]);
    if (!program.empty()) {
        bringFile(fs::absolute(program).lexically_normal());
    }
    for (char** argument = command + 1; *argument != nullptr; ++argument) {
        const std::string word = *argument;
        for (const std::string& candidate : {word, word.substr(word.find('=') + 1)}) {
            const fs::path path = fs::absolute(candidate).lexically_normal();
            if (!candidate.empty() && isRegular(path) && !isNotToBring(path)) {
                bringFile(path);
            }
        }
    }
}

bool ChrootTree::enter() const {
    return chroot(root_.c_str()) == 0 && chdir(workingDirectory_.c_str()) == 0;
}

void ChrootTree::writeBack() const {
    if (!etcDirectory_.empty()) {
        mirrorFolder(root_ + kEtcTarn, etcDirectory_);
    }
}

}  // namespace sandbox
