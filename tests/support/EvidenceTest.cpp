#include "support/Evidence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/Files.h"
#include "support/Process.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// A private folder: the tests of this file may run side by side.
std::string freshFolder() {
    std::string path = "/var/log/evidence.XXXXXX";
    return mkdtemp(path.data());
}

testprocess::Outcome probe(const std::string& filter, const std::string& folder) {
    return testprocess::run({TARN_EVIDENCE_PROBE, "--gtest_filter=" + filter}, {"TARN_EVIDENCE_DIR=" + folder});
}

TEST(Evidence, OfAFailureIsKeptWithItsLogTranscriptListingAndCommand) {
    std::string folder = "/tmp/evidence.XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const testprocess::Outcome outcome = probe("Deliberate/Probe.Fails/*", folder);
    const std::string kept = folder + "/Deliberate_Probe.Fails_0";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("evidence of the failure: " + kept + "\n"));
    EXPECT_THAT(testfiles::list(kept),
                ElementsAre("command.txt", "etc-tarn.txt", "tarn-kernel-sim.log", "tarn-policy.log"));
    EXPECT_EQ(testfiles::read(kept + "/tarn-policy.log"), "what the library logged\n");
    EXPECT_EQ(testfiles::read(kept + "/tarn-kernel-sim.log"), "what the kernel got\n");
    EXPECT_THAT(testfiles::read(kept + "/command.txt"),
                HasSubstr(std::string(TARN_EVIDENCE_PROBE) + " --gtest_filter=Deliberate/Probe.Fails/* "));
    const std::string listing = testfiles::read(kept + "/etc-tarn.txt");
    EXPECT_THAT(listing, HasSubstr("          5 /etc/tarn/.policydata/beginmsg\n"));
    EXPECT_THAT(listing, HasSubstr("/etc/tarn/link -> /nowhere\n"));
    std::filesystem::remove_all(folder);
}

TEST(TestMain, RunsNoTestOutsideTheSandbox) {
    const testprocess::Outcome outcome =
        testprocess::run({TARN_EVIDENCE_PROBE, "--gtest_filter=ProbeThat.Passes"}, {"TARN_SANDBOX"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out.find("ProbeThat"), std::string::npos) << outcome.out;
    EXPECT_THAT(outcome.err, HasSubstr("tarn-sandbox --kernel=none -- " TARN_EVIDENCE_PROBE "\n"));
}

TEST(Evidence, OfAnEarlierFailureGivesWay) {
    const std::string folder = freshFolder();
    testfiles::write(folder + "/Deliberate_Probe.Fails_0/stale", "old");
    probe("Deliberate/Probe.Fails/*", folder);
    EXPECT_FALSE(testfiles::exists(folder + "/Deliberate_Probe.Fails_0/stale"));
    EXPECT_TRUE(testfiles::exists(folder + "/Deliberate_Probe.Fails_0/command.txt"));
}

TEST(Evidence, OfASuccessIsNotKept) {
    const std::string folder = freshFolder();
    const testprocess::Outcome outcome = probe("ProbeThat.Passes", folder);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, Not(HasSubstr("evidence")));
    EXPECT_TRUE(testfiles::list(folder).empty());
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Evidence, OfACrashIsKeptAndTheSignalStays) {
    const std::string folder = freshFolder();
    const testprocess::Outcome outcome = probe("ProbeThat.Crashes", folder);
    EXPECT_EQ(outcome.status, 128 + SIGABRT);
    EXPECT_EQ(testfiles::read(folder + "/ProbeThat.Crashes/tarn-policy.log"), "the last words\n");
}
#endif

TEST(Evidence, OfADeathThatATestExpectsIsNotKept) {
    const std::string folder = freshFolder();
    EXPECT_EQ(probe("ProbeThat.LetsAChildCrash", folder).status, 0);
    EXPECT_TRUE(testfiles::list(folder).empty());
}

TEST(Evidence, ThatCannotBeKeptChangesNothingOfTheResult) {
    const testprocess::Outcome outcome = probe("Deliberate/Probe.Fails/*", "/dev/null/nowhere");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("the evidence of the failure can't be kept: "));
}

}  // namespace
