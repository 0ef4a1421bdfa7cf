// What the tests of tarn-sandbox share. They run inside a sandbox themselves, so that "the machine" is a private one
// that they may fill, look at and take apart.
#ifndef TARN_TESTS_SANDBOX_TEST_H
#define TARN_TESTS_SANDBOX_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Process.h"

namespace sandboxtest {

inline constexpr int kOwnFailure = 125;

using Words = std::vector<std::string>;

inline Words operator+(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline Words shell(const std::string& script) {
    return {"/bin/sh", "-c", script};
}

// Without a kernel entry unless the words ask for one.
inline Words sandbox(const Words& words) {
    return Words{TARN_SANDBOX_PROGRAM} + words;
}
inline Words plain(const Words& words) {
    return Words{TARN_SANDBOX_PROGRAM, "--kernel=none", "--"} + words;
}

// As in a container that allows neither namespaces nor mounts.
inline constexpr char kNoNamespaces[] = "unshare,mount,setns,pivot_root";
inline Words refused(const std::string& calls, const Words& words) {
    return Words{TARN_REFUSE_PROGRAM, calls} + words;
}

// Processes whose command line holds this text, for instance the path of a transcript.
inline int processesWith(const std::string& text) {
    int count = 0;
    for (const std::string& name : testfiles::list("/proc")) {
        const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
        count += isProcess && testfiles::read("/proc/" + name + "/cmdline").find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

// True as soon as the condition holds, false when it doesn't within some seconds.
template <class Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 1000; ++i) {
        if (condition()) {
            return true;
        }
        usleep(10000);
    }
    return false;
}

class SandboxTest : public testing::Test {
protected:
    void SetUp() override {
        const char* around = std::getenv("TARN_SANDBOX");
        if (around != nullptr && std::string(around) == "chroot") {
            GTEST_SKIP() << "mount namespaces are refused here, and the tests of the sandbox nest one in another";
        }
    }
};

}  // namespace sandboxtest

#endif
