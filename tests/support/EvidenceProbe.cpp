// Fails on purpose, for the test of what a failure leaves behind. It is no test of its own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/Files.h"
#include "support/LogLines.h"

namespace {

class Probe : public testing::TestWithParam<int> {};

TEST_P(Probe, Fails) {
    testfiles::write(testlog::kPath, "what the library logged\n");
    testfiles::write("/var/log/tarn-kernel-sim.log", "what the kernel got\n");
    testfiles::write("/etc/tarn/.policydata/beginmsg", "12345");
    testfiles::link("/nowhere", "/etc/tarn/link");
    FAIL() << "on purpose";
}

INSTANTIATE_TEST_SUITE_P(Deliberate, Probe, testing::Values(7));

TEST(ProbeThat, Passes) {
    testfiles::write(testlog::kPath, "nobody needs this\n");
}

TEST(ProbeThat, Crashes) {
    testfiles::write(testlog::kPath, "the last words\n");
    std::abort();
}

TEST(ProbeThat, LetsAChildCrash) {
    EXPECT_DEATH(std::abort(), "");
}

}  // namespace
