// What goes where: clean standard output, the lock, progress, and the ends that nobody expects.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <set>

#include "Common/Handles.h"
#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class OutputTest : public ToolTest {};

TEST_F(OutputTest, VersionIsTheProjectsOwn) {
    const Outcome outcome = tool({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "tarn-policy 1.0.0\n");
}

TEST_F(OutputTest, AWrongCommandLineIsRefusedInFewWords) {
    for (const auto& words : std::vector<std::vector<std::string>>{{},
                                                                   {"fly"},
                                                                   {"check"},
                                                                   {"check", "a", "b"},
                                                                   {"var"},
                                                                   {"var", "set", "a"},
                                                                   {"send", "--nonsense"},
                                                                   {"check", kPolicy, "--threads", "0"}}) {
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, AllOf(StartsWith("tarn-policy: "), HasSubstr("next: tarn-policy --help")));
    }
}

// The library prints dumps, lap lines and, without a log, every log line on standard output.
TEST_F(OutputTest, JsonStaysCleanWhateverTheLibraryPrints) {
    testfiles::write(kConfiguration, "threadnum=1\nlogflag=1\nprinttime=1\nloglevel=4\n");
    testfiles::makeDirectories("/var/log/tarn-policy.log");
    plainKernel();
    const Outcome outcome = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["format"].asInt(), 1);
    EXPECT_EQ(object["verb"].asString(), "apply");
    EXPECT_EQ(object["exitCode"].asInt(), 0);
    EXPECT_EQ(object["exitName"].asString(), "done");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("compileData->"), HasSubstr("-----------"), HasSubstr("策略头编译成功")))
        << "the library did print";
}

// The text that iconv takes for UTF-8 as it stands.
bool isUtf8(const std::string& text) {
    testfiles::write("/etc/tarn/test/output", text);
    return testprocess::run({"iconv", "-f", "UTF-8", "-t", "UTF-8", "/etc/tarn/test/output"}).status == 0;
}

TEST_F(OutputTest, JsonIsUtf8WhateverTheNamesHold) {
    const std::string strange = "/etc/tarn/test/\xFF.json";
    Json::Value policy = smallPolicy();
    policy["namespaces"][std::string(79, 'x') + "\xC3\xB6:"] = Json::Value(Json::arrayValue);
    writeJson(strange, policy);
    const Outcome check = tool({"check", strange, "--json"});
    EXPECT_TRUE(isUtf8(check.out)) << check.out;
    EXPECT_EQ(parseJson(check.out)["diagnostics"][0]["file"].asString(), "/etc/tarn/test/\xEF\xBF\xBD.json");
    saveVariables("net:\xFF:1\nbroken\xFE\n");
    const Outcome list = tool({"var", "list", "--json"});
    EXPECT_TRUE(isUtf8(list.out)) << list.out;
    EXPECT_EQ(parseJson(list.out)["variables"].size(), 1U);
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    testfiles::write(std::string(kSet) + "/\xFF_0_net_g_0", "x");
    EXPECT_TRUE(isUtf8(tool({"send", "--json"}).out));
}

TEST_F(OutputTest, NothingThatANameHoldsSpeaksToTheTerminal) {
    saveVariables("net:\x1B[2J:1\n\x1B[31mbroken\n");
    const Outcome list = tool({"var", "list"});
    EXPECT_EQ(list.out, "net \\u001b[2J 1\n");
    EXPECT_THAT(list.err, AllOf(HasSubstr("\\u001b[31mbroken"), Not(HasSubstr("\x1B"))));
    EXPECT_THAT(tool({"check", "/etc/tarn/\x1B[5m"}).err, AllOf(HasSubstr("\\u001b[5m"), Not(HasSubstr("\x1B"))));
}

TEST_F(OutputTest, TextOutputStaysCleanToo) {
    testfiles::write(kConfiguration, "threadnum=1\nlogflag=1\nprinttime=1\n");
    plainKernel();
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.out,
              "planned: 3 rules, 8 records in 2 messages of 986 bytes\n"
              "digest: fdfed808f3908001ed6b27f3ffaab2f7f9a1ef316da300d7e13044685cf7defa\n"
              "delivered: the kernel holds the whole set\n");
}

TEST_F(OutputTest, AWrongCommandLineIsAnObjectWhereOneWasAskedFor) {
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"fly", "--json"}, {"send", "--json", "--nonsense"}, {"check", kPolicy, "--threads", "x", "--json"}}) {
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.status, 2);
        const Json::Value object = parseJson(outcome.out);
        EXPECT_EQ(object["exitCode"].asInt(), 2);
        EXPECT_EQ(object["exitName"].asString(), "usage");
        EXPECT_NE(object["error"]["reason"].asString(), "");
        EXPECT_THAT(outcome.err, HasSubstr("next: tarn-policy --help"));
    }
}

TEST_F(OutputTest, AnErrorIsPartOfTheJsonObject) {
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 3);
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["exitCode"].asInt(), 3);
    EXPECT_EQ(object["error"]["reason"].asString(), "there is no compiled set");
    EXPECT_NE(object["error"]["tried"].asString(), "");
    EXPECT_NE(object["error"]["advice"].asString(), "");
}

TEST_F(OutputTest, AFullDiskUnderTheOutputIsNoSuccess) {
    const Outcome outcome =
        testprocess::run({"sh", "-c", "exec \"$0\" check " + std::string(kPolicy) + " >/dev/full", TARN_POLICY});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output: No space left on device"));
}

TEST_F(OutputTest, AClosedOutputNeverBecomesAPolicyFile) {
    plainKernel();
    testfiles::write(kConfiguration, "threadnum=1\nlogflag=1\nprinttime=1\n");
    const Outcome closed =
        testprocess::run({"sh", "-c", "exec \"$0\" compile " + std::string(kPolicy) + " >&- 2>&- <&-", TARN_POLICY});
    EXPECT_EQ(closed.status, 0);
    const std::vector<std::string> set = snapshot(kSet);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_EQ(snapshot(kSet), set);
}

TEST_F(OutputTest, AReaderThatGoesAwayDoesNotEndADelivery) {
    plainKernel();
    const Outcome outcome = testprocess::run(
        {"sh", "-c", "\"$0\" apply " + std::string(kPolicy) + " | true; ls " + kFinalSet, TARN_POLICY});
    EXPECT_THAT(outcome.out, HasSubstr("endmsg"));
}

TEST_F(OutputTest, TheLockSaysWhoHoldsIt) {
    plainKernel({"net/v"});
    const UniqueFd held(open(kLock, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"apply", kPolicy}, {"compile", kPolicy}, {"send"}, {"var", "set", "net", "v", "1"}, {"var", "clear"}}) {
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.status, 10) << words.front();
        EXPECT_THAT(outcome.err, HasSubstr("(process " + std::to_string(getpid()) + ") holds it"));
    }
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_EQ(tool({"check", kPolicy}).status, 0) << "check changes nothing and waits for nobody";
    EXPECT_EQ(tool({"var", "list"}).status, 0);
}

TEST_F(OutputTest, TheLockFileIsMadeWhereItIsMissingAndStays) {
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_EQ(testfiles::mode(kLock), 0600U);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0) << "a lock that was left is no obstacle";
}

TEST_F(OutputTest, ALinkInPlaceOfTheLockIsRefused) {
    testfiles::link("/etc/tarn/elsewhere", kLock);
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot open the lock file /run/lock/tarn-policy"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/elsewhere"));
}

TEST_F(OutputTest, ALockOfAnotherUserIsRefused) {
    testfiles::write(kLock, "");
    if (chown(kLock, 65534, 65534) != 0) {
        GTEST_SKIP() << "a user namespace with one user: no file of another one";
    }
    ASSERT_EQ(chmod("/run/lock", 01777), 0);
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("it belongs to user 65534 and not to root"),
                                   HasSubstr("next: remove it as root (rm /run/lock/tarn-policy)")));
    EXPECT_FALSE(testfiles::exists(kSet));
}

TEST_F(OutputTest, AnOrdinaryUserMakesNoLock) {
    testfiles::write("/run/lock/other", "");  // makes the folder
    ASSERT_EQ(chmod("/run/lock", 01777), 0);
    const Outcome outcome = testprocess::run(
        {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", TARN_POLICY, "compile", kPolicy});
    if (outcome.err.find("setpriv:") != std::string::npos) {
        GTEST_SKIP() << "a user namespace with one user: nobody but root";
    }
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("next: run as root"));
    EXPECT_FALSE(testfiles::exists(kLock));
}

TEST_F(OutputTest, APipeInPlaceOfTheLockIsRefused) {
    testfiles::write("/run/lock/other", "");
    ASSERT_EQ(mkfifo(kLock, 0600), 0);
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("it is not a regular file"));
}

TEST_F(OutputTest, ATerminalShowsWhatIsDone) {
    plainKernel();
    const Outcome outcome =
        testprocess::run({"script", "-qec", std::string(TARN_POLICY) + " apply " + kPolicy, "/dev/null"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("reading: 2 of 2 KiB"), HasSubstr("resolving: 4 of 4 names"),
                                   HasSubstr("planning: 3 of 3 rules"), HasSubstr("compiling: 0 of 2 message files"),
                                   HasSubstr("sending: 5 of 5 messages")));
}

// The line is written ten times a second, and this takes longer than that.
TEST_F(OutputTest, TheCountsMove) {
    Json::Value policy = smallPolicy();
    policy["groups"] = Json::Value(Json::objectValue);
    policy["groups"]["base"]["ruleFiles"][0] = "rules.jsonl";
    writePolicy(policy);
    std::string lines;
    for (int i = 0; i < 60000; ++i) {
        lines += R"({"namespace":"net","subjectIds":[[1,2,3]],"objectIds":[[4,5,6]],"class":"file","perm":"read"})";
        lines += '\n';
    }
    testfiles::write("/etc/tarn/test/rules.jsonl", lines);
    const Outcome outcome =
        testprocess::run({"script", "-qec", std::string(TARN_POLICY) + " check " + kPolicy, "/dev/null"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string total = std::to_string((lines.size() + testfiles::read(kPolicy).size() + 1023) / 1024);
    std::set<std::string> counts;
    const std::regex line("reading: ([0-9]+) of " + total + " KiB");
    for (std::sregex_iterator found(outcome.out.begin(), outcome.out.end(), line); found != std::sregex_iterator();
         ++found) {
        counts.insert((*found)[1]);
    }
    EXPECT_GE(counts.size(), 3U) << "the beginning, something between, and " << total;
    EXPECT_EQ(counts.count(total), 1U);
    EXPECT_THAT(outcome.out, HasSubstr("planning: 60000 of 60000 rules"));
}

TEST_F(OutputTest, NoProgressOutsideATerminal) {
    plainKernel();
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_THAT(outcome.out + outcome.err, AllOf(Not(HasSubstr("reading:")), Not(HasSubstr("\r"))));
}

TEST_F(OutputTest, AnUnexpectedErrorIsOneClearMessage) {
    const Outcome outcome = toolWithLabelManager("throw", {"check", kPolicy});
    EXPECT_EQ(outcome.status, 70);
    EXPECT_THAT(outcome.err, HasSubstr("cannot finish check: unexpected error: the label manager fell over"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("terminate")));
}

TEST_F(OutputTest, AnErrorOfUnknownKindIsOneClearMessage) {
    const Outcome outcome = toolWithLabelManager("throw-number", {"check", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 70);
    EXPECT_EQ(parseJson(outcome.out)["exitName"].asString(), "internal");
    EXPECT_THAT(outcome.err, HasSubstr("unexpected error: of an unknown kind"));
}

TEST_F(OutputTest, LackOfMemoryIsSaid) {
    const Outcome outcome = toolWithLabelManager("no-memory", {"check", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("this machine is out of memory"));
}

}  // namespace
