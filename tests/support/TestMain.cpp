// Runs the tests of one program and exits with 77 when one of them was skipped and none failed, so that a skip is seen
// as a skip by whoever runs them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Evidence.h"

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    testevidence::install();
    const int status = RUN_ALL_TESTS();
    const bool skipped = testing::UnitTest::GetInstance()->skipped_test_count() > 0;
    constexpr int kSkipped = 77;
    return status == 0 && skipped ? kSkipped : status;
}
