// What section must see before anything is written: files of others under its tag, numbers that would move, a set that is
// no whole one, a slice beyond 1 MiB.
#include "SectionFixture.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;

class SectionRefusalTest : public SectionToolTest {
protected:
    static const std::vector<std::string>& section() {
        static const std::vector<std::string> words = {"section", "net", "g", kPolicy, "--json"};
        return words;
    }
    // Refused for one finding of this code.
    static void expectFinding(const std::string& code, const std::string& text) {
        const Outcome outcome = expectRefused(5, section());
        const Json::Value problems = parseJson(outcome.out)["sectionProblems"];
        ASSERT_GE(problems.size(), 1U) << outcome.err;
        EXPECT_EQ(problems[0]["code"].asString(), code);
        EXPECT_THAT(problems[0]["text"].asString(), HasSubstr(text));
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr(text), HasSubstr("nothing was written"), HasSubstr("tarn-policy apply")));
    }
};

TEST_F(SectionRefusalTest, AFileOfAnotherNamespaceThatEndsAlike) {
    plainKernel();
    writePolicy(withRule("extra", "x_net", "g"));
    apply();
    expectFinding("strange-file", "extra_0_x_net_g_0 holds the section's tag _net_g_");
}

TEST_F(SectionRefusalTest, AFileOfAKeyThatHoldsTheTag) {
    plainKernel();
    writePolicy(withRule("k_net_g_z", "quiet", "h"));
    apply();
    expectFinding("strange-file", "k_net_g_z_0_quiet_h_0 holds the section's tag");
}

TEST_F(SectionRefusalTest, AFileOfAGroupThatReadsLikeASliceOfTheSection) {
    plainKernel();
    writePolicy(withRule("extra", "net", "0_net_g"));
    apply();
    expectFinding("strange-file", "extra_0_net_0_net_g_0");
}

TEST_F(SectionRefusalTest, AFileOfANamespaceThatReadsLikeASliceOfTheSection) {
    plainKernel();
    writePolicy(withRule("extra", "n_3_net", "g"));
    apply();
    // The policy no longer tells of it; the records do.
    writePolicy(smallPolicy());
    expectFinding("strange-file", "extra_0_n_3_net_g_0");
}

TEST_F(SectionRefusalTest, EveryStrangeFileIsNamedInOneRun) {
    plainKernel();
    Json::Value policy = withRule("extra", "x_net", "g");
    Json::Value more = rule(policy, "extra", 1);
    more["namespace"] = "y_net";
    policy["namespaces"]["y_net"] = Json::Value(Json::arrayValue);
    policy["groups"]["extra"]["rules"].append(more);
    writePolicy(policy);
    apply();
    const Outcome outcome = expectRefused(5, section());
    EXPECT_EQ(parseJson(outcome.out)["sectionProblems"].size(), 2U);
    EXPECT_THAT(outcome.err, HasSubstr("(and 1 more)"));
}

TEST_F(SectionRefusalTest, FunctionsThatMovedInTheSideFile) {
    plainKernel();
    apply();
    testfiles::write("/etc/tarn/funcinfo", "net#netmod:log,netmod:check\n");
    expectFinding("moved-number",
                  "function netmod:check of namespace net has the number 1 in "
                  "/etc/tarn/policydata/namemsg and would get 2");
}

TEST_F(SectionRefusalTest, FunctionsOfASetThatWaitsInAnotherOrder) {
    plainKernel();
    apply();
    Json::Value policy = smallPolicy();
    policy["namespaces"]["net"][0] = "netmod:log";
    policy["namespaces"]["net"][1] = "netmod:check";
    writePolicy(policy);
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    expectFinding("moved-number", "netmod:log of namespace net has the number 1 in /etc/tarn/.policydata/namemsg");
    EXPECT_THAT(tool(section()).err, HasSubstr("deliver the set that waits with tarn-policy send"));
    EXPECT_EQ(tool({"send"}).status, 0);
    EXPECT_EQ(tool(section()).status, 0) << "the way out";
}

TEST_F(SectionRefusalTest, FunctionsThatWouldNoLongerBeAnnounced) {
    plainKernel();
    apply();
    remove("/etc/tarn/funcinfo");
    Json::Value policy = smallPolicy();
    policy["namespaces"]["net"].resize(1);
    writePolicy(policy);
    expectFinding("moved-number",
                  "netmod:log of namespace net has the number 2 in /etc/tarn/policydata/namemsg and "
                  "would no longer be announced");
}

TEST_F(SectionRefusalTest, ASideFileThatSaysOtherThanTheMessage) {
    plainKernel();
    apply();
    testfiles::write("/etc/tarn/funcinfo", "net#netmod:check,netmod:log\nquiet#m:f\n");
    ASSERT_EQ(tool(section()).status, 0) << "a function more does no harm";
    testfiles::write("/etc/tarn/.funcinfo", "net#netmod:log,netmod:check\n");
    expectFinding("moved-number",
                  "netmod:log of namespace net has the number 1 in /etc/tarn/.funcinfo and would get 2");
}

TEST_F(SectionRefusalTest, ANamespaceWhoseNumberMoved) {
    plainKernel();
    testfiles::write("/etc/tarn/scene_info", "7:quiet\n");
    apply();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    testfiles::write("/etc/tarn/scene_info", "8:quiet\n");
    expectFinding("moved-number", "namespace quiet has the number 7 in /etc/tarn/.scene_info and would get 8");
}

// The functions of the document fit, and so do those in use; not both.
TEST_F(SectionRefusalTest, ANamespaceMessageBeyondOneMiB) {
    plainKernel();
    apply();
    std::string functions = "net#netmod:check,netmod:log";
    for (unsigned int number = 0; number < 1100; ++number) {
        functions += ",netmod:" + std::to_string(number) + std::string(1000, 'f');
    }
    testfiles::write("/etc/tarn/funcinfo", functions + "\n");
    expectFinding("namespace-size", "the namespace message, with the functions in use, would take ");
}

TEST_F(SectionRefusalTest, ASetWithoutAFrameMessage) {
    plainKernel();
    apply();
    for (const char* name : {"beginmsg", "namemsg", "endmsg"}) {
        ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
        remove(std::string(kSet) + "/" + name);
        remove(kNote);
        const Outcome outcome = expectRefused(7, section());
        EXPECT_THAT(outcome.err, AllOf(HasSubstr(name), HasSubstr("missing"), HasSubstr("tarn-policy apply"),
                                       HasSubstr("or remove /etc/tarn/.policydata")));
        EXPECT_THAT(parseJson(outcome.out)["setProblems"][0].asString(), HasSubstr(name));
    }
    remove(kSet);
    EXPECT_EQ(tool(section()).status, 0) << "the way out";
}

// Without calls nothing else asks for the namespace message.
TEST_F(SectionRefusalTest, ASetWithoutCallsNeedsItsNamespaceMessage) {
    plainKernel();
    Json::Value policy = smallPolicy();
    rule(policy, "base", 0).removeMember("condition");
    writePolicy(policy);
    apply();
    remove(std::string(kFinalSet) + "/namemsg");
    EXPECT_THAT(expectRefused(7, section()).err, HasSubstr("namemsg: the message is missing"));
}

TEST_F(SectionRefusalTest, ASetWhoseRenamesWereCutOff) {
    plainKernel();
    apply();
    writePolicy(changedPolicy());
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    ASSERT_EQ(testprocess::run({"mv", "/etc/tarn/.scene_info", "/etc/tarn/scene_info"}).status, 0);
    EXPECT_THAT(
        expectRefused(7, section()).err,
        AllOf(HasSubstr("/etc/tarn/.scene_info is missing: the renames at the end of an earlier delivery were cut "
                        "off"),
              HasSubstr("next: compile and deliver the whole policy with tarn-policy apply")));
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0) << "the way out";
}

TEST_F(SectionRefusalTest, ADamagedSet) {
    plainKernel();
    apply();
    testfiles::write(std::string(kFinalSet) + "/extra_0_quiet_h_0", "no message");
    EXPECT_THAT(expectRefused(7, section()).err, HasSubstr("extra_0_quiet_h_0"));
}

TEST_F(SectionRefusalTest, NoSetAtAll) {
    EXPECT_THAT(expectRefused(3, section()).err,
                HasSubstr("there is neither /etc/tarn/.policydata nor /etc/tarn/policydata"));
}

TEST_F(SectionRefusalTest, ASliceBeyondOneMiB) {
    plainKernel();
    writePolicy(bulkyPolicy(1100));
    apply();
    const Outcome outcome = expectRefused(5, section());
    EXPECT_EQ(parseJson(outcome.out)["diagnostics"][0]["code"].asString(), "message-size");
    EXPECT_THAT(outcome.err, HasSubstr("the section is too large to be compiled by itself: tarn-policy apply"));
    testfiles::write(kConfiguration, "threadnum=2\n");
    EXPECT_EQ(tool(section()).status, 0) << "two slices have room";
}

TEST_F(SectionRefusalTest, AFolderInThePlaceOfANewMessage) {
    plainKernel();
    apply();
    testfiles::makeDirectories(std::string(kFinalSet) + "/base_net_g_0_net_g_0");
    expectFinding("occupied-name", "base_net_g_0_net_g_0 is in the place of a new message");
}

TEST_F(SectionRefusalTest, AMistakeInTheDocument) {
    plainKernel();
    apply();
    Json::Value policy = smallPolicy();
    rule(policy, "base", 1)["class"] = "fiel";
    writePolicy(policy);
    expectRefused(5, section());
}

TEST_F(SectionRefusalTest, ASectionThatNobodyKnows) {
    plainKernel();
    apply();
    EXPECT_THAT(expectRefused(2, {"section", "net", "nosuch", kPolicy}).err,
                HasSubstr("neither the policy has a rule of it nor /etc/tarn/policydata a message"));
}

}  // namespace
