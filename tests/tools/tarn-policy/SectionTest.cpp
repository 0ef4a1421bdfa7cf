// section: what it puts into the set, what it leaves alone, and what a failure leaves behind.
#include <sys/mount.h>

#include <cerrno>
#include <cstring>

#include "SectionFixture.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class SectionTest : public SectionToolTest {};

TEST_F(SectionTest, PutsTheSectionIntoACopyOfTheFinishedSet) {
    plainKernel();
    apply();
    const std::vector<std::string> finished = snapshot(kFinalSet);
    writePolicy(changedPolicy());
    const Outcome outcome = tool({"section", "net", "g", kPolicy, "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_net_g_0_net_g_0", "beginmsg", "endmsg", "extra_0_quiet_h_0", "namemsg"));
    EXPECT_EQ(snapshot(kFinalSet), finished);
    EXPECT_EQ(testfiles::read(std::string(kSet) + "/extra_0_quiet_h_0"),
              testfiles::read(std::string(kFinalSet) + "/extra_0_quiet_h_0"));
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["base"].asString(), kFinalSet);
    EXPECT_EQ(object["replaced"].size(), 1U);
    EXPECT_EQ(object["replaced"][0].asString(), "base_0_net_g_0");
    EXPECT_EQ(object["plan"]["files"][0]["name"].asString(), "base_net_g_0_net_g_0");
    EXPECT_EQ(object["plan"]["rules"].asInt(), 2);
}

TEST_F(SectionTest, GivesTheRulesThatAFullCompilationGives) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel());
    if (IsSkipped()) {
        return;
    }
    const std::string rules = std::string(kKernel) + "/.sim/rules";
    writePolicy(changedPolicy());
    apply();
    const std::string wanted = testfiles::read(rules);
    writePolicy(smallPolicy());
    apply();
    ASSERT_NE(testfiles::read(rules), wanted);
    writePolicy(changedPolicy());
    const Outcome outcome = tool({"section", "net", "g", kPolicy, "--send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(testfiles::read(rules), wanted);
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_TRUE(testfiles::exists(std::string(kFinalSet) + "/base_net_g_0_net_g_0"));
}

TEST_F(SectionTest, CanBeSentLater) {
    plainKernel();
    apply();
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
    EXPECT_EQ(tool({"send"}).status, 0);
    EXPECT_TRUE(testfiles::exists(std::string(kFinalSet) + "/base_net_g_0_net_g_0"));
}

TEST_F(SectionTest, ASecondSectionGoesIntoTheSetThatWaits) {
    plainKernel();
    apply();
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
    const Outcome outcome = tool({"section", "quiet", "h", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["base"].asString(), kSet);
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_net_g_0_net_g_0", "beginmsg", "endmsg", "extra_quiet_h_0_quiet_h_0", "namemsg"));
}

TEST_F(SectionTest, TheSameSectionTwiceReplacesItself) {
    plainKernel();
    apply();
    EXPECT_EQ(tool({"section", "net", "g", kPolicy, "--send"}).status, 0);
    const std::vector<std::string> once = snapshot(kFinalSet);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy, "--send"}).status, 0);
    EXPECT_EQ(snapshot(kFinalSet), once);
}

TEST_F(SectionTest, KeepsTheSavedVariablesAndSwitchesThemAgain) {
    plainKernel({"net/a"});
    apply();
    saveVariables("net:a:5\n");
    const Outcome outcome = tool({"section", "net", "g", kPolicy, "--send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("replayed net:a=5\n"));
    EXPECT_EQ(kernelValue("net/a"), "1");
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:5\n");
}

TEST_F(SectionTest, AVariableThatCannotBeSwitchedIsNoSuccess) {
    plainKernel();
    apply();
    saveVariables("net:a:5\n");
    const Outcome outcome = tool({"section", "net", "g", kPolicy, "--send"});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_FALSE(testfiles::exists(kSet)) << "the set is delivered all the same";
}

TEST_F(SectionTest, AFullSetThatWaitedIsNoFullOneAnyLonger) {
    plainKernel({"net/a"});
    saveVariables("net:a:5\n");
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = tool({"section", "net", "g", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("warning: the set that waited came from a full compilation"));
    EXPECT_FALSE(testfiles::exists(kNote));
    EXPECT_THAT(tool({"send"}).out, HasSubstr("replayed net:a=5\n"));
}

TEST_F(SectionTest, RulesOfSpreadKeysAreGathered) {
    plainKernel();
    Json::Value policy = bulkyPolicy(1100);
    writePolicy(policy);
    apply();
    ASSERT_TRUE(testfiles::exists(std::string(kFinalSet) + "/base.1_0_net_g_0"));
    policy["groups"]["base"]["rules"].resize(900);
    writePolicy(policy);
    const Outcome outcome = tool({"section", "net", "g", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_net_g_0_net_g_0", "beginmsg", "endmsg", "namemsg"));
}

TEST_F(SectionTest, LeavesTheFilesOfAGroupThatOnlyBeginsAlike) {
    plainKernel();
    writePolicy(withRule("extra", "net", "gg"));
    apply();
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
    EXPECT_EQ(testfiles::read(std::string(kSet) + "/extra_0_net_gg_0"),
              testfiles::read(std::string(kFinalSet) + "/extra_0_net_gg_0"));
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_net_g_0_net_g_0", "beginmsg", "endmsg", "extra_0_net_gg_0",
                                                   "extra_0_quiet_h_0", "namemsg"));
}

TEST_F(SectionTest, ASectionWithoutAGroupName) {
    plainKernel();
    writePolicy(withRule("extra", "net", ""));
    apply();
    const Outcome outcome = tool({"section", "net", "", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(testfiles::exists(std::string(kSet) + "/extra_net__0_net__0"));
    EXPECT_FALSE(testfiles::exists(std::string(kSet) + "/extra_0_net__0"));
}

TEST_F(SectionTest, ASectionWhoseRulesAreGoneIsTakenOut) {
    plainKernel();
    apply();
    Json::Value policy = smallPolicy();
    policy["groups"]["extra"]["rules"].resize(0);
    writePolicy(policy);
    const Outcome outcome = tool({"section", "quiet", "h", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("warning: the policy has no rule of namespace \"quiet\", group \"h\""));
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_net_g_0", "beginmsg", "endmsg", "namemsg"));
}

TEST_F(SectionTest, OnlyItsOwnRulesMustGiveRecords) {
    plainKernel();
    apply();
    Json::Value policy = smallPolicy();
    policy["files"]["object_file"].append("/srv/unlabelled");
    rule(policy, "extra", 0)["objects"][0] = "/srv/unlabelled";
    rule(policy, "extra", 0)["objects"].resize(1);
    writePolicy(policy);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
    remove(kSet);
    expectRefused(4, {"section", "quiet", "h", kPolicy});
    EXPECT_EQ(tool({"section", "quiet", "h", kPolicy, "--allow-empty"}).status, 0);
}

TEST_F(SectionTest, FunctionsInUseKeepTheirPlaces) {
    plainKernel();
    apply();
    const std::string before = testfiles::read(std::string(kFinalSet) + "/namemsg");
    Json::Value policy = smallPolicy();
    policy["namespaces"]["net"] = Json::Value(Json::arrayValue);
    for (const char* function : {"netmod:fresh", "netmod:log", "netmod:check"}) {
        policy["namespaces"]["net"].append(function);
    }
    writePolicy(policy);
    const Outcome outcome = tool({"section", "quiet", "h", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(testfiles::read("/etc/tarn/.funcinfo"), "net#netmod:check,netmod:log,netmod:fresh\n");
    EXPECT_NE(testfiles::read(std::string(kSet) + "/namemsg"), before);
}

TEST_F(SectionTest, AFunctionThatTheSideFileRepeatsHasItsFirstPlace) {
    plainKernel();
    apply();
    testfiles::write("/etc/tarn/funcinfo", "net#netmod:check,netmod:check\nnet#netmod:log,netmod:check\n");
    const Outcome outcome = tool({"section", "quiet", "h", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(testfiles::read("/etc/tarn/.funcinfo"), "net#netmod:check,netmod:log\n");
}

TEST_F(SectionTest, NamespacesOfTheSetStayInTheSideFile) {
    plainKernel();
    testfiles::write("/etc/tarn/scene_info", "7:quiet\n");
    apply();
    Json::Value policy = smallPolicy();
    policy["namespaces"].removeMember("quiet");
    policy["groups"].removeMember("extra");
    writePolicy(policy);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
    EXPECT_THAT(testfiles::read("/etc/tarn/.scene_info"), HasSubstr("7:quiet\n"));
}

TEST_F(SectionTest, AFailedComparisonLeavesTheFinishedSetAlone) {
    plainKernel();
    ASSERT_EQ(toolWithLabelManager("good", {"apply", kPolicy}).status, 0);
    const std::vector<std::string> before = snapshot("/etc/tarn");
    const Outcome outcome = toolWithLabelManager("forget", {"section", "net", "g", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/groups/base/rules/1: the set does not hold the 1 record of this rule"),
                                   HasSubstr("tarn-policy restore")));
    EXPECT_EQ(snapshot("/etc/tarn"), before);
}

// Killed while it compares: the set stands, complete by its messages.
TEST_F(SectionTest, ASetThatWasNeverComparedIsNeitherSentNorBuiltUpon) {
    plainKernel();
    ASSERT_EQ(toolWithLabelManager("good", {"apply", kPolicy}).status, 0);
    const std::string delivered = testfiles::read(kDeliver);
    static_cast<void>(toolWithLabelManager("forget-and-die", {"section", "net", "g", kPolicy}));
    ASSERT_TRUE(testfiles::exists(std::string(kSet) + "/endmsg"));
    EXPECT_EQ(tool({"send"}).status, 7);
    const Outcome again = tool({"section", "net", "g", kPolicy});
    EXPECT_EQ(again.status, 7);
    EXPECT_THAT(again.err,
                AllOf(HasSubstr("before the set had been compared"), HasSubstr("remove /etc/tarn/.policydata")));
    EXPECT_EQ(testfiles::read(kDeliver), delivered);
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0) << "the way out";
}

TEST_F(SectionTest, AFailedCompilationLeavesTheFinishedSetAlone) {
    plainKernel();
    ASSERT_EQ(toolWithLabelManager("good", {"apply", kPolicy}).status, 0);
    const std::vector<std::string> before = snapshot("/etc/tarn");
    const Outcome outcome = toolWithLabelManager("status-second-time", {"section", "net", "g", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the library ended with status 7"));
    EXPECT_EQ(snapshot("/etc/tarn"), before);
}

// The finished set fills more than half of the disk.
TEST_F(SectionTest, ACopyThatFindsNoRoomLeavesTheFinishedSetAlone) {
    constexpr char kElsewhere[] = "/var/log/policy.json";
    writeJson(kElsewhere, bulkyPolicy(900));
    if (mount("tmpfs", "/etc/tarn", "tmpfs", 0, "size=1500k") != 0) {
        GTEST_SKIP() << "no mount inside this sandbox: " << std::strerror(errno);
    }
    SetUp();
    plainKernel();
    ASSERT_EQ(tool({"apply", kElsewhere}).status, 0);
    const std::vector<std::string> before = snapshot("/etc/tarn");
    const Outcome outcome = tool({"section", "net", "g", kElsewhere});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("cannot copy /etc/tarn/policydata/"), HasSubstr("make room in /etc/tarn")));
    EXPECT_EQ(snapshot("/etc/tarn"), before);
}

TEST_F(SectionTest, AFailureInASetThatWaitedLeavesNothingThatCouldBeSent) {
    plainKernel();
    ASSERT_EQ(toolWithLabelManager("good", {"compile", kPolicy}).status, 0);
    const Outcome outcome = toolWithLabelManager("status-second-time", {"section", "net", "g", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the set has no end message, so that it cannot be sent"));
    EXPECT_EQ(tool({"send"}).status, 7);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 7);
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0) << "the way out";
}

TEST_F(SectionTest, WhereNoMarkCanBeWrittenTheSetThatWaitsStaysWhole) {
    plainKernel();
    ASSERT_EQ(toolWithLabelManager("good", {"compile", kPolicy}).status, 0);
    testfiles::write("/etc/tarn/.tarn-policy-full.new/in-the-way", "");
    const std::vector<std::string> before = snapshot("/etc/tarn");
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 1);
    EXPECT_EQ(snapshot("/etc/tarn"), before);
}

TEST_F(SectionTest, ARefusedDeliveryCanBeRepeated) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"8:61"}));
    if (IsSkipped()) {
        return;
    }
    apply();  // five messages
    const Outcome outcome = tool({"section", "net", "g", kPolicy, "--send"});
    EXPECT_EQ(outcome.status, 9);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("(message 3 of 5) was refused: ENODATA (61)"), HasSubstr("tarn-policy restore")));
    EXPECT_EQ(tool({"send"}).status, 0);
}

TEST_F(SectionTest, WithoutTheKernelsEntryNothingIsCompiled) {
    plainKernel();
    apply();
    remove(kDeliver);
    expectRefused(8, {"section", "net", "g", kPolicy, "--send"});
    EXPECT_FALSE(testfiles::exists(kDeliver));
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0) << "without --send no kernel is needed";
}

TEST_F(SectionTest, EveryFailedApplyNamesTheWayBack) {
    const std::string way = "tarn-policy restore";
    EXPECT_THAT(tool({"apply", kPolicy}).err, AllOf(HasSubstr(way), HasSubstr("there is none yet")));
    plainKernel();
    apply();
    EXPECT_THAT(tool({"apply", "/etc/tarn/no-such.json"}).err, AllOf(HasSubstr(way), Not(HasSubstr("none yet"))));
    const Outcome outcome = toolWithLabelManager("throw", {"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 70);
    EXPECT_THAT(parseJson(outcome.out)["error"]["advice"].asString(), HasSubstr(way));
}

}  // namespace
