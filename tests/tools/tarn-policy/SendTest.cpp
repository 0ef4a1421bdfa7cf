#include <sys/stat.h>
#include <unistd.h>

#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class SendTest : public ToolTest {
protected:
    static void compile() { ASSERT_EQ(tool({"compile", kPolicy}).status, 0); }
};

TEST_F(SendTest, DeliversACompiledSet) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel());
    if (IsSkipped()) {
        return;
    }
    compile();
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "delivered: the kernel holds the whole set\n");
    EXPECT_THAT(testfiles::read(kTranscript),
                AllOf(HasSubstr("1 begin"), HasSubstr("2 namespace"), HasSubstr("5 end")));
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_TRUE(testfiles::exists(kFinalSet));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/scene_info"));
    EXPECT_FALSE(testfiles::exists(kNote));
}

TEST_F(SendTest, NothingToSendIsSaid) {
    plainKernel();
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("there is no compiled set"), HasSubstr("next: ")));
}

TEST_F(SendTest, ASecondSendHasNothingToSend) {
    plainKernel();
    compile();
    EXPECT_EQ(tool({"send"}).status, 0);
    EXPECT_EQ(tool({"send"}).status, 3);
}

TEST_F(SendTest, WithoutTheKernelsEntryNothingIsSent) {
    compile();
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/sys/kernel/security/tarn/policy_deliver"),
                                   HasSubstr("load the kernel module tarn_main")));
    EXPECT_FALSE(testfiles::exists(kDeliver)) << "no plain file in the kernel's place";
    EXPECT_TRUE(testfiles::exists(kSet));
}

TEST_F(SendTest, AnIncompleteSetIsRefused) {
    for (const char* name : {"beginmsg", "endmsg", "namemsg"}) {
        plainKernel();
        compile();
        testprocess::run({"rm", std::string(kSet) + "/" + name});
        const Outcome outcome = tool({"send"});
        EXPECT_EQ(outcome.status, 7) << name;
        EXPECT_EQ(testfiles::read(kDeliver), "") << name;
    }
}

TEST_F(SendTest, ASetWithoutItsSideFileIsRefused) {
    plainKernel();
    compile();
    testprocess::run({"rm", "/etc/tarn/.scene_info"});
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, HasSubstr("/etc/tarn/.scene_info is missing"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(SendTest, AMessageThatTheNoteListsMustBeThere) {
    plainKernel();
    compile();
    testprocess::run({"rm", std::string(kSet) + "/extra_0_quiet_h_0"});
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, HasSubstr("extra_0_quiet_h_0: the message is missing"));
    EXPECT_EQ(parseJson(outcome.out)["setProblems"][0].asString(), "extra_0_quiet_h_0: the message is missing");
    EXPECT_EQ(testfiles::read(kDeliver), "");
    EXPECT_TRUE(testfiles::exists(kSet));
}

TEST_F(SendTest, ASeriesWithAGapIsRefused) {
    plainKernel();
    compile();
    testprocess::run({"rm", kNote});
    const std::string stem = std::string(kSet) + "/base_0_net_g_";
    testfiles::write(stem + "1", testfiles::read(stem + "0"));
    ASSERT_EQ(rename((stem + "0").c_str(), (stem + "11").c_str()), 0);
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("base_0_net_g_0: the message is missing"),
                                   HasSubstr("base_0_net_g_10: the message is missing")));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(SendTest, ASetThatFailedItsComparisonIsNotSent) {
    plainKernel();
    const Outcome compiled = toolWithLabelManager("forget", {"compile", kPolicy});
    EXPECT_EQ(compiled.status, 4);
    EXPECT_THAT(compiled.err, HasSubstr("the set has no end message, so that it cannot be sent"));
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, HasSubstr("endmsg"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

// The stage after the end message saves the users; a directory that can't be replaced stands in its way.
TEST_F(SendTest, ASetWhoseCompilationFailedAfterTheEndMessageIsNotSent) {
    plainKernel();
    testfiles::write("/etc/tarn/.userinfo/in-the-way", "");
    EXPECT_EQ(tool({"compile", kPolicy}).status, 1);
    EXPECT_EQ(tool({"send"}).status, 7);
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(SendTest, ASetWhoseNoteCouldNotBeWrittenIsNotSent) {
    plainKernel();
    testfiles::write(std::string(kNote) + ".new/in-the-way", "");
    EXPECT_EQ(tool({"compile", kPolicy}).status, 1);
    EXPECT_FALSE(testfiles::exists(kSet)) << "without a note nothing is begun";
    EXPECT_EQ(tool({"send"}).status, 3);
}

// The comparison finds a rule missing, asks for labels once more to say why, and is killed right there: the set stands,
// complete by its messages.
TEST_F(SendTest, ASetThatWasNeverComparedIsNotSent) {
    plainKernel();
    const Outcome compiled = toolWithLabelManager("forget-and-die", {"compile", kPolicy});
    ASSERT_NE(compiled.status, 4);
    ASSERT_TRUE(testfiles::exists(std::string(kSet) + "/endmsg"));
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("its compilation was ended before the set had been compared"),
                                   HasSubstr("next: compile it again")));
    EXPECT_EQ(testfiles::read(kDeliver), "");
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_EQ(tool({"send"}).status, 0);
}

TEST_F(SendTest, AnEarlierSetAndItsNoteStayWhereNothingWasCompiled) {
    plainKernel();
    compile();
    testfiles::write(kClasses, "{");
    EXPECT_NE(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(parseJson(outcome.out)["fullSet"].asBool());
}

TEST_F(SendTest, ALinkInTheSetsPlaceIsRefused) {
    plainKernel();
    compile();
    ASSERT_EQ(rename(kSet, "/etc/tarn/elsewhere"), 0);
    testfiles::link("/etc/tarn/elsewhere", kSet);
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, HasSubstr("it is no directory"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(SendTest, APipeInTheNotesPlaceIsRefusedAtOnce) {
    plainKernel();
    compile();
    ASSERT_EQ(unlink(kNote), 0);
    ASSERT_EQ(mkfifo(kNote, 0600), 0);
    const Outcome outcome = testprocess::run({"timeout", "60", TARN_POLICY, "send"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("it is not a regular file"), HasSubstr("next: see what stands")));
}

TEST_F(SendTest, ADirectoryInTheNotesPlaceIsNoMatterOfPrivilege) {
    plainKernel();
    compile();
    ASSERT_EQ(unlink(kNote), 0);
    testfiles::makeDirectories(kNote);
    for (const auto& words : std::vector<std::vector<std::string>>{{"send"}, {"compile", kPolicy}}) {
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr(kNote), Not(HasSubstr("run as root"))));
    }
}

TEST_F(SendTest, EveryDamagedMessageIsNamed) {
    plainKernel();
    compile();
    const std::string first = std::string(kSet) + "/base_0_net_g_0";
    const std::string second = std::string(kSet) + "/extra_0_quiet_h_0";
    testfiles::write(first, testfiles::read(first).substr(0, 100));
    testfiles::write(second, testfiles::read(second) + "x");
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 7);
    const Json::Value problems = parseJson(outcome.out)["setProblems"];
    ASSERT_EQ(problems.size(), 2U);
    EXPECT_THAT(problems[0].asString(), HasSubstr("base_0_net_g_0: "));
    EXPECT_THAT(problems[1].asString(), HasSubstr("extra_0_quiet_h_0: "));
    EXPECT_EQ(testfiles::read(kDeliver), "");
    EXPECT_TRUE(testfiles::exists(kSet));
}

TEST_F(SendTest, EachRefusedMessageIsNamedWithWhatTheKernelHolds) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"1:5", "3:12", "6:22", "10:74", "15:70"}));
    if (IsSkipped()) {
        return;
    }
    compile();
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"beginmsg (message 1 of 5) was refused: EIO (5)", "the kernel has taken nothing of this set"},
        {"namemsg (message 2 of 5) was refused: ENOMEM (12)", "the kernel has taken the first 1 of 5 messages"},
        {"(message 3 of 5) was refused: EINVAL (22)", "the kernel has taken the first 2 of 5 messages"},
        {"(message 4 of 5) was refused: EBADMSG (74)", "the kernel has taken the first 3 of 5 messages"},
        {"endmsg (message 5 of 5) was refused: ECOMM (70)", "the kernel has taken the first 4 of 5 messages"}};
    for (const auto& [refused, holds] : expected) {
        const Outcome outcome = tool({"send"});
        EXPECT_EQ(outcome.status, 9);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr(refused), HasSubstr(holds), HasSubstr("next: "))) << outcome.err;
        EXPECT_TRUE(testfiles::exists(kSet));
        EXPECT_TRUE(testfiles::exists(kNote));
    }
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(SendTest, TheJsonObjectTellsHowFarADeliveryCame) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"2:61"}));
    if (IsSkipped()) {
        return;
    }
    compile();
    const Outcome outcome = tool({"send", "--json"});
    const Json::Value delivery = parseJson(outcome.out)["delivery"];
    EXPECT_EQ(delivery["messages"].asInt(), 5);
    EXPECT_EQ(delivery["delivered"].asInt(), 1);
    EXPECT_EQ(delivery["refused"].asString(), "namemsg");
    EXPECT_EQ(delivery["status"].asInt(), 61);
    EXPECT_NE(delivery["kernelHolds"].asString(), "");
}

TEST_F(SendTest, AFailureAfterTheEndIsNoSuccess) {
    plainKernel();
    compile();
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");  // a directory that the rename can't replace
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot give the delivered files their final names"),
                                   HasSubstr("now: the kernel holds the whole set"), HasSubstr("then send again")));
}

// The set that waits is the same as the finished one.
TEST_F(SendTest, AFailureAfterTheFirstNameIsNotToBeSentAgain) {
    plainKernel();
    ASSERT_EQ(tool({"apply", kPolicy}).status, 0);
    compile();
    ASSERT_EQ(testprocess::run({"mv", kFinalSet, "/etc/tarn/elsewhere"}).status, 0);
    testfiles::link("/etc/tarn/elsewhere", kFinalSet);  // is not removed, so that the set can't take the name
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("then finish the renames with tarn-policy restore"),
                                   testing::Not(HasSubstr("send again"))));
    const Outcome again = tool({"send"});
    EXPECT_EQ(again.status, 7);
    EXPECT_THAT(again.err, HasSubstr("next: tarn-policy restore finishes the renames"));
    ASSERT_EQ(testprocess::run({"rm", kFinalSet}).status, 0);
    EXPECT_EQ(tool({"restore"}).status, 0) << "the way out";
}

}  // namespace
