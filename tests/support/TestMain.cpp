// Runs the tests of one program and exits with 77 when one of them was skipped and none failed, so that a skip is seen
// as a skip by whoever runs them. Outside the sandbox it runs none: tests write to /etc/tarn and /var/log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "support/Evidence.h"

namespace {

bool isInSandbox() {
    return std::getenv("TARN_SANDBOX") != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (!isInSandbox()) {
        std::cerr << argv[0] << ": tests write to /etc/tarn and /var/log; start this program in the sandbox:\n"
                  << "    tarn-sandbox --kernel=none -- " << argv[0] << "\n";
        return EXIT_FAILURE;
    }
    testevidence::install();
    const int status = RUN_ALL_TESTS();
    const bool skipped = testing::UnitTest::GetInstance()->skipped_test_count() > 0;
    constexpr int kSkipped = 77;
    return status == 0 && skipped ? kSkipped : status;
}
