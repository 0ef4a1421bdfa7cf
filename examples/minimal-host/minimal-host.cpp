// The smallest whole host: one rule from the program to the kernel module. Copy it, replace registerRules, and link
// with what pkg-config says:
//
//     g++ -std=c++17 minimal-host.cpp $(pkg-config --cflags --libs tarnpolicysync) -o minimal-host
//
// It needs root, the class definitions "/etc/tarn/tarn-main/class-def.conf", and the kernel module; without the module,
// run it in tarn-sandbox.
#include <Common.h>
#include <PolicyModuleManagerInterface.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr char kLockFile[] = "/run/lock/tarn-policy";
constexpr char kKernelEntry[] = "/sys/kernel/security/tarn/policy_deliver";

// The folder is open to everybody. Only root makes the file, and one of another user is not taken: its owner could hold
// it for ever.
int openLockFile() {
    constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int descriptor = open(kLockFile, kFlags);
    if (descriptor < 0 && errno == ENOENT && geteuid() == 0) {
        descriptor = open(kLockFile, kFlags | O_CREAT | O_EXCL, 0600);
        if (descriptor < 0 && errno == EEXIST) {  // another process was faster
            descriptor = open(kLockFile, kFlags);
        }
    }
    return descriptor;
}

// Two processes must never work on one set of message files. tarn-policy takes the same lock. It is given up when the
// process ends, however it ends.
bool takeLock() {
    const int descriptor = openLockFile();
    struct stat status {};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != 0)) {
        std::fprintf(stderr, "%s is not root's own file: remove it as root, then run this again\n", kLockFile);
        return false;
    }
    if (descriptor < 0 || flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        std::fprintf(stderr, "cannot lock %s: %s\n", kLockFile,
                     errno == EWOULDBLOCK ? "another program is working on the policy" : std::strerror(errno));
        return false;
    }
    return true;
}

// One rule: the backup program may read the archives, while the dynamic variable "window" is on and the function
// "is_backup_time" of the kernel module "timemod" says so.
PolicyNode backupRule() {
    PolicyNode rule;
    rule.bSubjectFlag = false;  // given by name: the label manager turns names into identifiers
    rule.vecSubjectName = {"/usr/bin/backup"};
    rule.bObjectFlag = false;
    rule.vecObjectName = {"/srv/archive/*"};
    rule.sPermClass = "file";
    rule.sPerm = "read";
    rule.strNamespace = "backup";
    rule.strGroup = "main";
    rule.strModuleName = "timemod";

    ExprNode variable(12, "", 1);  // 12: a dynamic variable of the rule's namespace, compared with 1: on
    variable.strVarName = "window";
    const ExprNode call(4, "is_backup_time", 0);  // 4: a function of the rule's kernel module
    const ExprNode both(2, "", 0);                // 2: a binary operator; conditions are written in postfix order
    rule.vecExpr = {variable, call, both};
    return rule;
}

bool registerRules(PolicyModuleManagerInterface& manager) {
    PolicyDb group;
    group.vecPolicy.push_back(backupRule());
    return manager.setNamespaceFuncInfo("backup", "timemod", "is_backup_time") == 0 &&
           manager.setFileToGetLabelMap("subject_file", "/usr/bin/backup") == 0 &&
           manager.setFileToGetLabelMap("object_recurfile", "/srv/archive/*") == 0 &&
           manager.addPolicy("base", group) == 0;
}

// The library says what went wrong in its log; the status tells which step and, for a refused message, the kernel's
// errno.
bool succeeded(const char* step, unsigned int status) {
    if (status == 0) {
        std::printf("%s: done\n", step);
        return true;
    }
    std::fprintf(stderr, "%s: status %u (%s); see /var/log/tarn-policy.log\n", step, status,
                 status > 1 && status < 4096 ? std::strerror(static_cast<int>(status)) : "local failure");
    return false;
}

}  // namespace

int main() {
    if (!takeLock()) {
        return 1;
    }
    // The library would make a plain file where the kernel's entry is missing, and take it for delivered.
    if (access(kKernelEntry, F_OK) != 0) {
        std::fprintf(stderr, "%s is missing: is the kernel module loaded?\n", kKernelEntry);
        return 1;
    }

    PolicyModuleManagerInterface manager;  // reads /etc/tarn/tarn-policy.conf and the state of the last delivery
    const bool delivered = succeeded("class definitions", static_cast<unsigned int>(manager.prepareWork())) &&
                           succeeded("registration", registerRules(manager) ? 0 : 1) &&
                           succeeded("compilation", manager.compileData()) &&
                           succeeded("delivery", manager.sendPolicy());
    return delivered ? 0 : 1;
}
