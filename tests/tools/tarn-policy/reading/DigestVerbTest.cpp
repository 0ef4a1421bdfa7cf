// digest, and the digest that compile and apply print.
#include <filesystem>

#include "../ToolFixture.h"
#include "SetFixture.h"

namespace {

using golden::withWord;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class DigestVerbTest : public settest::SetTest {};

TEST_F(DigestVerbTest, IsOneLineOf64Digits) {
    putSet();
    const Outcome outcome = tool({"digest", settest::kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, MatchesRegex("[0-9a-f]{64}\n"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(DigestVerbTest, JsonHasTheDigestAndTheNumberOfRecords) {
    putSet();
    const Json::Value object = parse(tool({"digest", "--json", settest::kSet}).out);
    EXPECT_EQ(object["digest"].asString() + "\n", tool({"digest", settest::kSet}).out);
    EXPECT_EQ(object["records"].asInt(), 5);
    EXPECT_EQ(object["exitName"].asString(), "computed");
}

TEST_F(DigestVerbTest, OneMessageHasADigest) {
    putSet();
    EXPECT_EQ(tool({"digest", at("base_0_net_h_0")}).out,
              "0bc84195646a7485058fca2b66779193cf689641a81c5b53fb585b84fd479a89\n");
}

TEST_F(DigestVerbTest, DamagedSetHasNone) {
    putSet();
    testfiles::write(at("base_1_net_h_0"), withWord(golden::message("policy-pairs"), 160, 7));
    const Outcome outcome = tool({"digest", settest::kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                HasSubstr("cannot take the digest of /etc/tarn/copy/policydata: base_1_net_h_0: offset 160"));
    EXPECT_EQ(parse(tool({"digest", "--json", settest::kSet}).out)["exitName"].asString(), "unsound");
}

TEST_F(DigestVerbTest, MissingPathIsTrouble) {
    EXPECT_EQ(tool({"digest", "/etc/tarn/nothing"}).status, 2);
    EXPECT_EQ(tool({"digest"}).status, 2);
}

TEST_F(DigestVerbTest, MissingFrameIsAWarning) {
    putSet();
    const std::string whole = tool({"digest", settest::kSet}).out;
    std::filesystem::remove(at("endmsg"));
    const Outcome outcome = tool({"digest", settest::kSet});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, whole);
    EXPECT_EQ(outcome.err, "tarn-policy: warning: /etc/tarn/copy/policydata: endmsg is missing\n");
}

TEST_F(DigestVerbTest, ReaderThatGoesAwayEndsItQuietly) {
    putSet();
    for (const std::string words : {"digest ", "digest --json ", "verify --copy ", "verify --copy --json ", "stat ",
                                    "stat --json ", "query --class 1 ", "inspect "}) {
        const Outcome outcome = unread(words + settest::kSet);
        EXPECT_EQ(outcome.status, 0) << words;
        EXPECT_EQ(outcome.err, "") << words;
    }
}

TEST_F(DigestVerbTest, FullDiskUnderTheOutputIsTrouble) {
    putSet();
    const Outcome outcome = shell("\"$0\" digest " + std::string(settest::kSet) + " >/dev/full");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output: No space left on device"));
}

TEST_F(DigestVerbTest, NothingOnTheMachineIsTouched) {
    putSet();
    static_cast<void>(tool({"digest", settest::kSet}));
    static_cast<void>(tool({"diff", settest::kSet, settest::kSet}));
    EXPECT_EQ(testfiles::list("/etc/tarn"), std::vector<std::string>{"copy"});
    EXPECT_FALSE(testfiles::exists("/var/log/tarn-policy.log"));
    EXPECT_FALSE(testfiles::exists("/run/lock/tarn-policy"));
}

class CompiledDigestTest : public tooltest::ToolTest {
protected:
    // What the run printed behind "digest: ".
    static std::string printed(const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const std::size_t place = outcome.out.find("digest: ");
        EXPECT_NE(place, std::string::npos) << outcome.out;
        return place == std::string::npos ? "" : outcome.out.substr(place + 8, 64);
    }
};

TEST_F(CompiledDigestTest, CompilePrintsTheDigestOfTheSet) {
    const std::string digest = printed(tool({"compile", tooltest::kPolicy}));
    EXPECT_EQ(tool({"digest", tooltest::kSet}).out, digest + "\n");
    const Json::Value object = tooltest::parseJson(tool({"compile", "--json", tooltest::kPolicy}).out);
    EXPECT_EQ(object["digest"].asString(), digest);
}

TEST_F(CompiledDigestTest, InitialSetHasTheSameDigestUnderItsFinalName) {
    const std::string digest = printed(tool({"compile", tooltest::kPolicy}));
    EXPECT_EQ(printed(tool({"compile", "--init", tooltest::kPolicy})), digest);
    EXPECT_EQ(tool({"digest", tooltest::kFinalSet}).out, digest + "\n");
}

TEST_F(CompiledDigestTest, ApplyPrintsTheDigestOfTheSet) {
    plainKernel();
    const std::string digest = printed(tool({"apply", tooltest::kPolicy}));
    const Outcome outcome = tool({"digest", tooltest::kFinalSet});
    EXPECT_EQ(outcome.out, digest + "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CompiledDigestTest, IsTheSameForAnyNumberOfThreads) {
    std::set<std::string> digests;
    std::set<std::size_t> files;
    for (const char* threads : {"1", "2", "3", "8"}) {
        testfiles::write(tooltest::kConfiguration, std::string("threadnum=") + threads + "\n");
        digests.insert(printed(tool({"compile", tooltest::kPolicy})));
        files.insert(testfiles::list(tooltest::kSet).size());
    }
    EXPECT_EQ(digests.size(), 1U);
    EXPECT_GT(files.size(), 1U) << "the files were the same anyway";
}

TEST_F(CompiledDigestTest, TellsOtherRulesApart) {
    const std::string before = printed(tool({"compile", tooltest::kPolicy}));
    Json::Value policy = tooltest::smallPolicy();
    policy["groups"]["base"]["rules"][0]["condition"][0]["params"][0] = 8;
    writePolicy(policy);
    EXPECT_NE(printed(tool({"compile", tooltest::kPolicy})), before);
}

TEST_F(CompiledDigestTest, TwoCompilationsOfOnePolicyGiveTheSameBytes) {
    for (const char* threads : {"1", "4"}) {
        testfiles::write(tooltest::kConfiguration, std::string("threadnum=") + threads + "\n");
        ASSERT_EQ(tool({"compile", tooltest::kPolicy}).status, 0);
        const std::vector<std::string> first = tooltest::snapshot(tooltest::kSet);
        EXPECT_GT(first.size(), 4U);
        ASSERT_EQ(tool({"compile", tooltest::kPolicy}).status, 0);
        EXPECT_EQ(tooltest::snapshot(tooltest::kSet), first) << threads << " threads";
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they need terabytes of address space
TEST_F(CompiledDigestTest, CompilationIsGoodWithoutADigest) {
    // Too little address space for the sort, and enough for everything else.
    const Outcome outcome = testprocess::run(
        {"bash", "-c", "ulimit -v 120000; exec \"$0\" compile \"$1\"", TARN_POLICY, tooltest::kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, Not(HasSubstr("digest: ")));
    EXPECT_THAT(outcome.err, HasSubstr("warning: no digest of /etc/tarn/.policydata: "));
}
#endif

}  // namespace
