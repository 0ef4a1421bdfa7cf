#include "Run.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "Failure.h"
#include "Options.h"

namespace sandbox {

namespace {

sigset_t handledSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
        sigaddset(&set, signal);
    }
    return set;
}

// The command dies with the sandbox, so that a sandbox that is killed leaves nothing running.
[[noreturn]] void becomeCommand(char** command, const std::function<bool()>& enter, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(kExitOwnFailure);
    }
    if (!enter()) {
        std::fprintf(stderr, "tarn-sandbox: cannot enter the sandbox: %s\n", std::strerror(errno));
        _exit(kExitOwnFailure);
    }
    const sigset_t handled = handledSignals();
    sigprocmask(SIG_UNBLOCK, &handled, nullptr);
    execvp(command[0], command);
    const int error = errno;
    std::fprintf(stderr, "tarn-sandbox: cannot run %s: %s\n", command[0], std::strerror(error));
    _exit(error == ENOENT ? kExitNotFound : kExitCannotRun);
}

int exitStatus(int status) {
    return WIFSIGNALED(status) ? kExitSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

// The terminal sends its signals to the whole process group, the command included; only those of other processes are
// for us to pass on.
void passOn(const siginfo_t& info, pid_t child) {
    if (info.si_code <= 0) {
        static_cast<void>(kill(child, info.si_signo));
    }
}

}  // namespace

void holdSignals() {
    const sigset_t handled = handledSignals();
    sigprocmask(SIG_BLOCK, &handled, nullptr);
}

int runCommand(char** command, const std::function<bool()>& enter) {
    const sigset_t handled = handledSignals();
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        failWithErrno("cannot start a process");
    }
    if (child == 0) {
        becomeCommand(command, enter, parent);
    }
    while (true) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return exitStatus(status);
        }
        siginfo_t info{};
        const int signal = sigwaitinfo(&handled, &info);
        if (signal > 0 && signal != SIGCHLD) {
            passOn(info, child);
        }
    }
}

}  // namespace sandbox
