#include "support/Evidence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "support/Files.h"

namespace fs = std::filesystem;

namespace testevidence {

namespace {

// Set to where it differs from the default, which follows from the place of the test programs, build/tests.
fs::path evidenceFolder() {
    const char* chosen = std::getenv("TARN_EVIDENCE_DIR");
    return chosen != nullptr && *chosen != '\0'
               ? fs::path(chosen)
               : fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "evidence";
}

std::string folderName(const testing::TestInfo& test) {
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

// One line per object: mode, size, path, and the target of a link.
std::string listing(const fs::path& folder) {
    std::string text;
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
        struct stat status {};
        lstat(entry.path().c_str(), &status);
        char head[64];
        std::snprintf(head, sizeof head, "%06o %10lld ", status.st_mode, static_cast<long long>(status.st_size));
        text += head + entry.path().string();
        text += entry.is_symlink() ? " -> " + fs::read_symlink(entry.path(), error).string() + "\n" : "\n";
    }
    return text;
}

// With a blank where the kernel has a NUL, and the variables that decide how a test runs.
std::string commandLine(const testing::TestInfo& test) {
    std::string words = testfiles::read("/proc/self/cmdline");
    std::replace(words.begin(), words.end(), '\0', ' ');
    std::string text = words + "\ntest: " + test.test_suite_name() + "." + test.name() + "\n";
    for (const char* name : {"TARN_SANDBOX", "TARN_SANDBOX_KERNEL", "LD_LIBRARY_PATH", "LD_PRELOAD"}) {
        const char* value = std::getenv(name);
        text += value == nullptr ? "" : std::string(name) + "=" + value + "\n";
    }
    return text;
}

// The log, and the simulator's transcript where there is one.
void keepLogs(const fs::path& target) {
    for (const auto& entry : fs::recursive_directory_iterator("/var/log")) {
        if (entry.is_regular_file() && !entry.is_symlink()) {
            fs::copy_file(entry.path(), target / entry.path().filename(), fs::copy_options::overwrite_existing);
        }
    }
    const char* transcript = std::getenv("TARN_SANDBOX_TRANSCRIPT");
    if (transcript != nullptr && fs::exists(transcript)) {
        fs::copy_file(transcript, target / fs::path(transcript).filename(), fs::copy_options::overwrite_existing);
    }
}

void keep(const testing::TestInfo& test) {
    const fs::path target = evidenceFolder() / folderName(test);
    fs::remove_all(target);
    fs::create_directories(target);
    testfiles::write(target / "command.txt", commandLine(test));
    testfiles::write(target / "etc-tarn.txt", listing("/etc/tarn"));
    keepLogs(target);
    std::cout << "evidence of the failure: " << target.string() << std::endl;
}

void keepOrSayWhyNot(const testing::TestInfo& test) {
    try {
        keep(test);
    } catch (const std::exception& error) {
        std::cout << "the evidence of the failure can't be kept: " << error.what() << std::endl;
    }
}

// A crash ends the process before any listener hears of it. What follows is more than a signal handler may do by the
// book; should it hang, the alarm ends it. The process then dies of its signal as it would have without us.
pid_t testProcess = 0;

void keepAndDie(int number) {
    std::signal(number, SIG_DFL);
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    if (getpid() == testProcess && test != nullptr) {
        constexpr unsigned int kSeconds = 10;
        alarm(kSeconds);
        keepOrSayWhyNot(*test);
    }
    std::raise(number);
}

// The sanitizers report crashes in handlers of their own, which must stay. So must the deaths that tests provoke in
// children of theirs go unnoticed: those have another process number, or were started anew by gtest itself.
void keepOfCrashes() {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    if (testing::internal::InDeathTestChild()) {
        return;
    }
    testProcess = getpid();
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        std::signal(number, keepAndDie);
    }
#else
    static_cast<void>(keepAndDie);
#endif
}

class Keeper : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& test) override {
        if (test.result()->Failed()) {
            keepOrSayWhyNot(test);
        }
    }
};

}  // namespace

void install() {
    testing::UnitTest::GetInstance()->listeners().Append(new Keeper);
    keepOfCrashes();
}

}  // namespace testevidence
