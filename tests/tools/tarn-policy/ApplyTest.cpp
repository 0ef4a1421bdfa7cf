#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ApplyTest : public ToolTest {};

TEST_F(ApplyTest, CompilesAndDelivers) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel());
    if (IsSkipped()) {
        return;
    }
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("delivered: the kernel holds the whole set\n"));
    EXPECT_THAT(testfiles::read(kTranscript), AllOf(HasSubstr("1 begin"), HasSubstr("5 end")));
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_TRUE(testfiles::exists(kFinalSet));
    EXPECT_FALSE(testfiles::exists(kNote));
}

TEST_F(ApplyTest, WithoutTheKernelsEntryNothingIsCompiled) {
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_FALSE(testfiles::exists(kDeliver));
    EXPECT_FALSE(testfiles::exists(kSet));
}

TEST_F(ApplyTest, MistakesAreFoundBeforeAnythingIsCompiled) {
    plainKernel();
    Json::Value policy = smallPolicy();
    policy["groups"]["base"]["rules"][0]["class"] = "fiel";
    writePolicy(policy);
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr("/groups/base/rules/0/class"));
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(ApplyTest, RulesWithoutRecordsAreListedAndNothingIsSent) {
    plainKernel();
    Json::Value labels = smallLabels();
    labels["labels"]["object_file"].removeMember("/srv/y");
    writeJson(kLabels, labels);
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("/groups/base/rules/1: the rule gives no record"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
    EXPECT_EQ(tool({"apply", "--allow-empty", kPolicy}).status, 0);
}

TEST_F(ApplyTest, ARuleThatVanishesInTheCompilationIsNotSent) {
    plainKernel();
    const Outcome outcome = toolWithLabelManager("forget", {"apply", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("/groups/base/rules/1: the set does not hold the 1 record of this rule"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(ApplyTest, WithoutLabelsNothingIsCompiled) {
    plainKernel();
    const Outcome outcome = toolWithLabelManager("status", {"apply", kPolicy});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_FALSE(testfiles::exists(kSet));
}

// sendPolicy gives one status for the whole set; the tool has to find out which message it belongs to.
TEST_F(ApplyTest, EachRefusedMessageIsNamedWithWhatTheKernelHolds) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"1:5", "3:61", "6:22", "10:71", "15:99"}));
    if (IsSkipped()) {
        return;
    }
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"beginmsg (message 1 of 5) was refused: EIO (5)", "the kernel has taken nothing of this set"},
        {"namemsg (message 2 of 5) was refused: ENODATA (61)", "the kernel has taken the first 1 of 5 messages"},
        {"(message 3 of 5) was refused: EINVAL (22)", "the kernel has taken the first 2 of 5 messages"},
        {"(message 4 of 5) was refused: EPROTO (71)", "the kernel has taken the first 3 of 5 messages"},
        {"endmsg (message 5 of 5) was refused: errno 99", "the kernel has taken the first 4 of 5 messages"}};
    for (const auto& [refused, holds] : expected) {
        const Outcome outcome = tool({"apply", kPolicy});
        EXPECT_EQ(outcome.status, 9);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr(refused), HasSubstr(holds), HasSubstr("next: "))) << outcome.err;
        EXPECT_TRUE(testfiles::exists(kSet));
    }
    EXPECT_EQ(tool({"send"}).status, 0) << "what was refused can be sent again";
}

// Without saved variables nothing tells a failed rename from a refused end message; neither is claimed then.
TEST_F(ApplyTest, AFailureAfterTheEndIsNoSuccess) {
    plainKernel();
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");
    const Outcome outcome = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 9);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("endmsg (message 5 of 5) was refused, or the files could not be renamed after it"),
                      HasSubstr("the first 4 of 5 messages, and it is not known whether the end message, too")));
    const Json::Value delivery = parseJson(outcome.out)["delivery"];
    EXPECT_THAT(delivery["kernelHolds"].asString(), HasSubstr("if so, it holds the whole set"));
    EXPECT_FALSE(delivery.isMember("refused"));
}

TEST_F(ApplyTest, DroppedVariablesTellAFailureAfterTheEnd) {
    plainKernel();
    saveVariables("net:a:1\n");
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");
    const Outcome outcome = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot give the delivered files their final names"),
                                   HasSubstr("now: the kernel holds the whole set"), Not(HasSubstr("refused"))));
    const Json::Value delivery = parseJson(outcome.out)["delivery"];
    EXPECT_EQ(delivery["delivered"].asInt(), 5);
    EXPECT_EQ(delivery["kernelHolds"].asString(), "the kernel holds the whole set");
    EXPECT_FALSE(delivery.isMember("refused"));
}

// The first of the names goes only after the end message.
TEST_F(ApplyTest, ANameThatIsFinalTellsAFailureAfterTheEnd) {
    plainKernel();
    ASSERT_EQ(tool({"apply", kPolicy}).status, 0);
    ASSERT_EQ(testprocess::run({"mv", kFinalSet, "/etc/tarn/elsewhere"}).status, 0);
    testfiles::link("/etc/tarn/elsewhere", kFinalSet);  // is not removed, so that the set can't take the name
    const Outcome outcome = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot give the delivered files their final names"),
                                   HasSubstr("now: the kernel holds the whole set"), Not(HasSubstr("refused"))));
    EXPECT_EQ(parseJson(outcome.out)["delivery"]["delivered"].asInt(), 5);
}

TEST_F(ApplyTest, SplitPoliciesArrive) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel());
    if (IsSkipped()) {
        return;
    }
    writePolicy(bulkyPolicy(1100));
    const Outcome outcome = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["delivery"]["messages"].asInt(), 5);
    writePolicy(bulkyPolicy(1100));
    EXPECT_EQ(tool({"apply", "--no-split", kPolicy}).status, 5);
}

}  // namespace
