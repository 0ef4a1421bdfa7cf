// Each test of a program that links this finds empty folders, no log and the default level, also when all tests run in
// one process. Nothing is touched outside the sandbox.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Common/Common.h"

namespace {

namespace fs = std::filesystem;

void empty(const fs::path& directory) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        fs::remove_all(entry.path(), ignored);
    }
}

class CleanStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*info*/) override {
        if (std::getenv("TARN_SANDBOX") == nullptr) {
            return;
        }
        empty("/etc/tarn");
        empty("/var/log");
        const char* kernel = std::getenv("TARN_SANDBOX_KERNEL");
        if (kernel == nullptr || std::string(kernel) == "none") {
            empty("/sys/kernel/security/tarn");
        }
        setLogLevel(3);
    }
};

const bool kInstalled = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new CleanStart);
    return true;
}();

}  // namespace
