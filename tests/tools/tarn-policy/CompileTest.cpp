#include <sys/mount.h>

#include <cerrno>
#include <cstring>

#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class CompileTest : public ToolTest {};

TEST_F(CompileTest, LeavesTheSetUnderItsTemporaryName) {
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("compiled into /etc/tarn/.policydata\n"));
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_0_net_g_0", "beginmsg", "endmsg", "extra_0_quiet_h_0", "namemsg"));
    EXPECT_TRUE(testfiles::exists(kNote));
    EXPECT_FALSE(testfiles::exists(kFinalSet));
}

TEST_F(CompileTest, NeedsNoKernel) {
    EXPECT_FALSE(testfiles::exists(kDeliver));
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_FALSE(testfiles::exists(kDeliver));
}

TEST_F(CompileTest, InitialSetGetsItsFinalName) {
    const Outcome outcome = tool({"compile", "--init", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("compiled into /etc/tarn/policydata\n"));
    EXPECT_THAT(testfiles::list(kFinalSet),
                ElementsAre("base_0_net_g_0", "beginmsg", "endmsg", "extra_0_quiet_h_0", "namemsg"));
    EXPECT_EQ(testfiles::read("/etc/tarn/userinfo"), "alice:1000\n");
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_FALSE(testfiles::exists(kNote));
    EXPECT_EQ(tool({"send"}).status, 3) << "nothing is left to send";
}

TEST_F(CompileTest, TheSetHoldsWhatWasPlanned) {
    const Json::Value plan = parseJson(tool({"compile", kPolicy, "--json"}).out)["plan"];
    for (const Json::Value& file : plan["files"]) {
        EXPECT_EQ(testfiles::read(std::string(kSet) + "/" + file["name"].asString()).size(), file["bytes"].asUInt());
    }
}

TEST_F(CompileTest, SpreadRulesCompile) {
    writePolicy(bulkyPolicy(1100));
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base.1_0_net_g_0", "base_0_net_g_0", "beginmsg", "endmsg", "namemsg"));
}

TEST_F(CompileTest, WithoutSplittingAnOverflowIsRefusedBeforeAnythingIsCompiled) {
    writePolicy(bulkyPolicy(1100));
    EXPECT_EQ(tool({"compile", "--no-split", kPolicy}).status, 5);
    EXPECT_FALSE(testfiles::exists(kSet));
}

TEST_F(CompileTest, MistakesLeaveAnEarlierSetAlone) {
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    const std::vector<std::string> before = snapshot(kSet);
    Json::Value policy = smallPolicy();
    policy["groups"]["base"]["rules"][0]["perm"] = "raed";
    writePolicy(policy);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 5);
    EXPECT_EQ(snapshot(kSet), before);
    EXPECT_TRUE(testfiles::exists(kNote));
}

TEST_F(CompileTest, RulesWithoutRecordsAreListed) {
    Json::Value labels = smallLabels();
    labels["labels"]["object_file"].removeMember("/srv/y");
    writeJson(kLabels, labels);
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("/groups/base/rules/1: the rule gives no record"));
    EXPECT_FALSE(testfiles::exists(kSet));
}

TEST_F(CompileTest, RulesWithoutRecordsAreAWarningOnDemand) {
    Json::Value labels = smallLabels();
    labels["labels"]["object_file"].removeMember("/srv/y");
    writeJson(kLabels, labels);
    const Outcome outcome = tool({"compile", "--allow-empty", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("warning: " + std::string(kPolicy)));
    EXPECT_TRUE(testfiles::exists(kSet));
}

// The compilation asks the label manager a second time: a rule can lose its identifiers in between.
TEST_F(CompileTest, ARuleThatVanishesInTheCompilationIsNamed) {
    const Outcome outcome = toolWithLabelManager("forget", {"compile", "--allow-empty", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("/groups/base/rules/1: the set does not hold the 1 record of this rule"),
                      HasSubstr("/groups/base/rules/1: the rule gives no record by what the label manager"),
                      HasSubstr("/groups/extra/rules/0: the set does not hold the 2 records")));
    EXPECT_FALSE(testfiles::exists(kNote));
}

TEST_F(CompileTest, SaysWithWhichStatusTheLibraryEnded) {
    const Outcome outcome = toolWithLabelManager("status-second-time", {"compile", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot compile the policy: the library ended with status 7"),
                                   HasSubstr("/var/log/tarn-policy.log")));
    EXPECT_FALSE(testfiles::exists(kNote));
}

TEST_F(CompileTest, ANoteOfAnEarlierSetIsGoneWhenACompilationFails) {
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_EQ(toolWithLabelManager("status-second-time", {"compile", kPolicy}).status, 1);
    EXPECT_FALSE(testfiles::exists(kNote));
}

TEST_F(CompileTest, RulesFromLinesAreCompiled) {
    Json::Value policy = smallPolicy();
    policy["groups"]["base"].removeMember("rules");
    policy["groups"]["base"]["ruleFiles"].append("base.jsonl");
    writePolicy(policy);
    testfiles::write(
        "/etc/tarn/test/base.jsonl",
        R"({"subjects": ["/usr/bin/a"], "objects": ["/srv/x"], "class": "file", "perm": "read", "namespace": "net", "group": "g"})"
        "\n");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("planned: 2 rules, 5 records"));
}

// No policy, which is larger than what the disk holds, stands on it.
TEST_F(CompileTest, AFullDiskIsNamed) {
    constexpr char kElsewhere[] = "/var/log/policy.json";
    writeJson(kElsewhere, bulkyPolicy(1100));
    if (mount("tmpfs", "/etc/tarn", "tmpfs", 0, "size=512k") != 0) {
        GTEST_SKIP() << "no mount inside this sandbox: " << std::strerror(errno);
    }
    SetUp();
    const Outcome outcome = tool({"compile", kElsewhere});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("No space left on device"), HasSubstr("make room")));
    EXPECT_NE(tool({"send"}).status, 0);
}

TEST_F(CompileTest, AKeyThatWouldBreakALineOfTheNoteIsRefused) {
    Json::Value policy = smallPolicy();
    policy["groups"]["two\nlines"] = policy["groups"]["extra"];
    policy["groups"].removeMember("extra");
    writePolicy(policy);
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("name-control"), HasSubstr("two\\nlines")));
    EXPECT_FALSE(testfiles::exists(kSet));
}

}  // namespace
