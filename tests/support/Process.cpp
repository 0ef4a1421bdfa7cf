#include "support/Process.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace testprocess {

namespace {

void changeEnvironment(const std::vector<std::string>& environment) {
    for (const std::string& text : environment) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos) {
            unsetenv(text.c_str());
        } else {
            setenv(text.substr(0, equals).c_str(), text.c_str() + equals + 1, 1);
        }
    }
}

[[noreturn]] void become(std::vector<std::string> words, const std::vector<std::string>& environment, int out,
                         int err) {
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    changeEnvironment(environment);
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    constexpr int kNotFound = 127;
    _exit(kNotFound);
}

std::string content(int fd) {
    std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
    const ssize_t count = pread(fd, text.data(), text.size(), 0);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
}

}  // namespace

Running::Running(const std::vector<std::string>& words, const std::vector<std::string>& environment)
    : out_(memfd_create("out", MFD_CLOEXEC)), err_(memfd_create("err", MFD_CLOEXEC)) {
    pid_ = out_ < 0 || err_ < 0 ? -1 : fork();
    if (pid_ < 0) {
        throw std::runtime_error("cannot start " + words.at(0));
    }
    if (pid_ == 0) {
        become(words, environment, out_, err_);
    }
}

Running::~Running() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(out_);
    close(err_);
}

Outcome Running::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    constexpr int kSignalBase = 128;
    return {WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status), content(out_), content(err_)};
}

Outcome run(const std::vector<std::string>& words, const std::vector<std::string>& environment) {
    return Running(words, environment).finish();
}

}  // namespace testprocess
