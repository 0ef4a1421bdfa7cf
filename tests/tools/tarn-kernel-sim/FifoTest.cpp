// The simulator at a FIFO: it judges what it can't refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "RunningSimulator.h"
#include "support/AnswerTable.h"
#include "support/Files.h"
#include "support/Golden.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kFifo[] = "/sys/kernel/security/tarn/policy_deliver";
constexpr char kTranscript[] = "/var/log/transcript";

class Fifo : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(mkfifo(kFifo, 0600), 0); }

    // What the simulator has written down by its end.
    static std::string transcriptOf(const std::vector<std::string>& messages) {
        RunningSimulator simulator({"--fifo", kFifo, "--transcript", kTranscript});
        for (const std::string& message : messages) {
            EXPECT_EQ(writeMessage(kFifo, message), 0);
        }
        const testprocess::Outcome outcome = simulator.stop();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.err, HasSubstr("can't be refused"));
        return testfiles::read(kTranscript);
    }
};

}  // namespace

TEST_F(Fifo, MessagesAreJudgedOneByOne) {
    EXPECT_EQ(transcriptOf({golden::message("begin"), golden::message("namespace"), golden::message("policy-condition"),
                            golden::message("end")}),
              "1 begin bytes=20 records=0 accepted\n"
              "2 namespace bytes=93 records=1 accepted\n"
              "3 policy bytes=243 records=1 accepted\n"
              "4 end bytes=20 records=0 accepted\n");
}

TEST_F(Fifo, MessagesInOneStreamAreTakenApartByTheirLength) {
    EXPECT_EQ(transcriptOf({golden::message("begin") + golden::message("policy-plain") + golden::message("end")}),
              "1 begin bytes=20 records=0 accepted\n"
              "2 policy bytes=124 records=1 accepted\n"
              "3 end bytes=20 records=0 accepted\n");
}

TEST_F(Fifo, RefusalThatReachesNobodySaysSo) {
    EXPECT_EQ(transcriptOf({golden::message("end")}),
              "1 end bytes=20 records=0 refused EPROTO (71) offset 16: no begin message opened the set (expected 1, "
              "found 2); the writer was not told, a FIFO carries no answer\n");
}

TEST_F(Fifo, WhatIsLeftWhenTheWritersCloseIsAMessage) {
    EXPECT_THAT(transcriptOf({"short"}), StartsWith("1 headless bytes=5 records=0 refused EINVAL (22)"));
    EXPECT_THAT(transcriptOf({answertable::buildMessage({"begin", "word 4 = 0"})}),
                StartsWith("1 begin bytes=20 records=0 refused EINVAL (22) offset 4"));
    EXPECT_THAT(transcriptOf({answertable::buildMessage({"policy-plain", "cut 1", "same length"})}),
                StartsWith("1 policy bytes=123 records=1 refused EPROTO (71)"));
}

TEST_F(Fifo, LargeMessageIsPutTogether) {
    // Larger than a pipe holds: it comes in pieces.
    std::string message = golden::message("policy-plain");
    const std::string record = message.substr(20, 100);
    for (int count = 1; count < 5000; ++count) {
        message.insert(20, record);
    }
    EXPECT_THAT(
        transcriptOf({golden::message("begin"), answertable::buildMessage({"begin"}).substr(0, 4) + message.substr(4)}),
        HasSubstr("2 policy bytes="));
}

TEST_F(Fifo, OtherThanAFifoIsAFailure) {
    testfiles::write("/etc/tarn/file", "");
    const testprocess::Outcome file = testprocess::run({TARN_KERNEL_SIM_PROGRAM, "--fifo", "/etc/tarn/file"});
    EXPECT_EQ(file.status, 1);
    EXPECT_THAT(file.err, HasSubstr("it is no FIFO"));
    const testprocess::Outcome missing = testprocess::run({TARN_KERNEL_SIM_PROGRAM, "--fifo", "/etc/tarn/nothing"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("No such file"));
}
