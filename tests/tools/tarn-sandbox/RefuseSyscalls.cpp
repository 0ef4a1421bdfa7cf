// Runs a command to which the kernel refuses chosen system calls with EPERM, as a plain container does.
// usage: refuse_syscalls NAME[,NAME...] COMMAND [ARGUMENT...]
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::map<std::string, unsigned int> kNumbers = {
    {"unshare", SYS_unshare}, {"mount", SYS_mount}, {"setns", SYS_setns},     {"pivot_root", SYS_pivot_root},
    {"chroot", SYS_chroot},   {"mknod", SYS_mknod}, {"mknodat", SYS_mknodat},
};

sock_filter instruction(unsigned int code, unsigned char ifTrue, unsigned char ifFalse, unsigned int value) {
    return {static_cast<unsigned short>(code), ifTrue, ifFalse, value};
}

std::vector<sock_filter> filterFor(const std::string& names) {
    std::vector<sock_filter> filter = {instruction(BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr))};
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ',');) {
        filter.push_back(instruction(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, kNumbers.at(name)));
        filter.push_back(instruction(BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | EPERM));
    }
    filter.push_back(instruction(BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW));
    return filter;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    std::vector<sock_filter> filter = filterFor(argv[1]);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::perror("refuse_syscalls: prctl");
        return 2;
    }
    execvp(argv[2], argv + 2);
    std::perror("refuse_syscalls: exec");
    return 2;
}
