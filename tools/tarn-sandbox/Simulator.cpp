#include "Simulator.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "Common/Handles.h"
#include "Failure.h"

namespace sandbox {

namespace {

constexpr int kReadyMilliseconds = 20000;
constexpr std::chrono::milliseconds kEndStep{2};
constexpr int kEndSteps = 2500;  // five seconds in all
constexpr mode_t kEntryMode = 0200;

std::vector<std::string> arguments(const std::string& program, const SimulatorPlan& plan, int readyFd) {
    std::vector<std::string> words = {
        program,      plan.fifo ? "--fifo" : "--mount", plan.entry, "--transcript", plan.transcript,
        "--ready-fd", std::to_string(readyFd)};
    for (const std::string& refusal : plan.refusals) {
        words.insert(words.end(), {"--refuse", refusal});
    }
    for (const std::string& para : plan.paras) {
        words.insert(words.end(), {"--para", para});
    }
    return words;
}

// A session of its own keeps the terminal's Ctrl-C away from it: it must outlive the command. It ends with the sandbox.
[[noreturn]] void becomeSimulator(std::vector<std::string> words, pid_t parent) {
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(1);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(1);
}

}  // namespace

Simulator::~Simulator() {
    static_cast<void>(end());
}

void Simulator::start(const std::string& program, const SimulatorPlan& plan) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        failWithErrno("cannot make a pipe");
    }
    const UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    if (plan.fifo && mkfifo(plan.entry.c_str(), kEntryMode) != 0) {
        failWithErrno("cannot make the FIFO " + plan.entry);
    }
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) {
        failWithErrno("cannot start a process");
    }
    if (process_ == 0) {
        static_cast<void>(fcntl(writeEnd.get(), F_SETFD, 0));
        becomeSimulator(arguments(program, plan, writeEnd.get()), parent);
    }
    writeEnd.reset();
    mountedOn_ = plan.fifo ? std::string() : plan.entry;
    if (!waitReady(readEnd.get())) {
        static_cast<void>(end());
        throw Failure(program + " did not come up");
    }
}

bool Simulator::waitReady(int fd) const {
    pollfd waited{fd, POLLIN, 0};
    char byte = 0;
    return poll(&waited, 1, kReadyMilliseconds) == 1 && read(fd, &byte, 1) == 1;
}

// Gives the wait status. A simulator that hangs is killed, and what it had mounted detached.
int Simulator::end() {
    if (process_ < 0) {
        return 0;
    }
    int status = 0;
    bool ended = waitpid(process_, &status, WNOHANG) == process_;
    static_cast<void>(ended ? 0 : kill(process_, SIGTERM));
    for (int i = 0; !ended && i < kEndSteps; ++i) {
        ended = waitpid(process_, &status, WNOHANG) == process_;
        if (!ended) {
            std::this_thread::sleep_for(kEndStep);
        }
    }
    if (!ended) {
        static_cast<void>(kill(process_, SIGKILL));
        waitpid(process_, &status, 0);
    }
    process_ = -1;
    if (!mountedOn_.empty()) {
        static_cast<void>(umount2(mountedOn_.c_str(), MNT_DETACH));  // refused when nothing is mounted any more
    }
    return status;
}

void Simulator::stop() {
    siginfo_t info{};
    const bool early = process_ >= 0 &&
                       waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                       info.si_pid == process_;
    const int status = end();
    if (early) {
        throw Failure("tarn-kernel-sim ended before the command did, " +
                      (WIFSIGNALED(status) ? "by signal " + std::to_string(WTERMSIG(status))
                                           : "with status " + std::to_string(WEXITSTATUS(status))));
    }
}

std::string findSimulator() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path own = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& path : {own / "tarn-kernel-sim", own.parent_path() / "libexec/tarnpolicysync/tarn-kernel-sim",
                                 own.parent_path() / "libexec/tarn-kernel-sim"}) {
        if (access(path.c_str(), X_OK) == 0) {
            return path.string();
        }
    }
    throw Failure("tarn-kernel-sim is missing in " + own.string() + "; build or install it, or use --kernel=none");
}

}  // namespace sandbox
