// The routes to a delivered policy, and what each leaves of the dynamic variables: in the kernel, in the table of the
// next process, and in the file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "Common/Handles.h"
#include "ToolFixture.h"
#include "support/Files.h"
#include "support/ManagerAccess.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

class RouteTest : public ToolTest {
protected:
    struct State {
        std::string kernelA;
        std::string kernelB;
        ManagerAccess::DynamicVariables table;
        std::string file;
        bool hasFile = false;
    };

    // Two variables are switched on by the tool; the second one is then switched off behind its back, so that a replay
    // can be told from leaving it alone.
    void start(bool simulated) {
        if (simulated) {
            simulatedKernel({"net/a", "net/b"});
        } else {
            plainKernel({"net/a", "net/b"});
        }
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_EQ(tool({"var", "set", "net", "a", "1"}).status, 0);
        ASSERT_EQ(tool({"var", "set", "net", "b", "5"}).status, 0);
        ASSERT_EQ(testprocess::run({"sh", "-c", "printf 0 > " + std::string(kKernel) + "/paras/net/b"}).status, 0);
    }

    static State state() {
        State now;
        now.kernelA = kernelValue("net/a");
        now.kernelB = kernelValue("net/b");
        now.table = ManagerAccess().dynamicVarMap;
        now.hasFile = testfiles::exists(kDynamicInfo);
        now.file = testfiles::read(kDynamicInfo);
        return now;
    }

    static void expectDropped(const State& now) {
        EXPECT_EQ(now.kernelA, "1") << "the kernel's switches stay";
        EXPECT_EQ(now.kernelB, "0") << "nothing is replayed";
        EXPECT_THAT(now.table, IsEmpty());
        EXPECT_FALSE(now.hasFile);
    }

    static void expectKept(const State& now) {
        EXPECT_EQ(now.kernelA, "1");
        EXPECT_EQ(now.kernelB, "1") << "set again";
        EXPECT_EQ(now.file, "net:a:1\nnet:b:5\n");
        EXPECT_THAT(now.table,
                    ElementsAre(Pair(std::make_tuple("net", "a"), 1U), Pair(std::make_tuple("net", "b"), 5U)));
    }

    static Json::Value policyWithVariable() {
        Json::Value policy = smallPolicy();
        policy["variables"]["net"]["b"] = 9;
        policy["variables"]["net"]["a"] = Json::nullValue;
        return policy;
    }
};

TEST_F(RouteTest, ApplyDropsTheVariablesAndNamesThem) {
    start(false);
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("dropped net:a=1\ndropped net:b=5\n"));
    expectDropped(state());
}

TEST_F(RouteTest, CompileThenSendEndsAsApplyDoes) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("dropped net:a=1\ndropped net:b=5\n"));
    expectDropped(state());
}

TEST_F(RouteTest, BothRoutesGiveTheKernelTheSameMessages) {
    start(true);
    if (IsSkipped()) {
        return;
    }
    ASSERT_EQ(tool({"apply", kPolicy}).status, 0);
    const std::vector<std::string> applied = snapshot(kFinalSet);
    const std::string firstHalf = testfiles::read(kTranscript);
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    ASSERT_EQ(tool({"send"}).status, 0);
    EXPECT_EQ(snapshot(kFinalSet), applied);
    expectDropped(state());
    EXPECT_THAT(firstHalf, HasSubstr("5 end"));
    EXPECT_THAT(testfiles::read(kTranscript), HasSubstr("10 end"));
}

TEST_F(RouteTest, ApplyKeepsVariablesOnDemand) {
    start(false);
    const Outcome outcome = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("set again net:a=1\nset again net:b=5\n"));
    expectKept(state());
}

TEST_F(RouteTest, SendKeepsVariablesOnDemand) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = tool({"send", "--keep-vars"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expectKept(state());
}

TEST_F(RouteTest, ASetOfUnknownOriginReplaysVariables) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    testprocess::run({"rm", kNote});  // as a host's own compilation leaves it
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_FALSE(parseJson(outcome.out)["fullSet"].asBool());
    expectKept(state());
}

TEST_F(RouteTest, ASetThatWasChangedAfterItsCompilationReplaysVariables) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    // A section that was merged since brings one more message: here a sound copy of one.
    const std::string extra = testfiles::read(std::string(kSet) + "/extra_0_quiet_h_0");
    testfiles::write(std::string(kSet) + "/section_0_quiet_h_0", extra);
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_FALSE(parseJson(outcome.out)["fullSet"].asBool());
    expectKept(state());
}

TEST_F(RouteTest, ApplySetsThePolicysVariables) {
    start(false);
    writePolicy(policyWithVariable());
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("set net:b=9\n"));
    const State now = state();
    EXPECT_EQ(now.kernelB, "1");
    EXPECT_EQ(now.file, "net:b:9\n");
}

TEST_F(RouteTest, CompileThenSendSetsThePolicysVariables) {
    start(false);
    writePolicy(policyWithVariable());
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = tool({"send"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const State now = state();
    EXPECT_EQ(now.kernelB, "1");
    EXPECT_EQ(now.file, "net:b:9\n");
}

TEST_F(RouteTest, AVariableThatCannotBeKeptIsNoSuccess) {
    start(false);
    testprocess::run({"rm", std::string(kKernel) + "/paras/net/b"});
    const Outcome outcome = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("net:b=5: the kernel's entry"), HasSubstr("the kernel holds the whole set")));
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\n") << "the others are kept";
}

TEST_F(RouteTest, LinesThatADeliveryLosesAreWarnedOf) {
    plainKernel();
    saveVariables("net:a\nnet:b:5\n");
    EXPECT_THAT(tool({"apply", kPolicy}).err, HasSubstr("warning: /etc/tarn/dynamicinfo: the line \"net:a\" is not"));
    saveVariables("net:a\n");
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_THAT(tool({"send"}).err, HasSubstr("warning: /etc/tarn/dynamicinfo: the line \"net:a\" is not"));
}

TEST_F(RouteTest, AValueThatWouldNotBeReadBackIsNotKeptInSilence) {
    plainKernel({"net/a"});
    saveVariables("net:a:-1\n");
    const Outcome outcome = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_THAT(outcome.err, HasSubstr("net:a=4294967295: a value above 2147483647"));
}

TEST_F(RouteTest, ARefusedDeliveryDropsNothing) {
    simulatedKernel({"net/a"}, {"5:22"});
    if (IsSkipped()) {
        return;
    }
    ASSERT_EQ(tool({"var", "set", "net", "a", "1"}).status, 0);
    EXPECT_EQ(tool({"apply", kPolicy}).status, 9);
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\n");
}

TEST_F(RouteTest, ApplyKeepsVariablesAlsoWhereTheFinalNamesFail) {
    start(false);
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");
    const Outcome outcome = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("dropped net:a=1\ndropped net:b=5\n"), HasSubstr("set again net:b=5\n")));
    expectKept(state());
}

TEST_F(RouteTest, SendKeepsVariablesAlsoWhereTheFinalNamesFail) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");
    const Outcome outcome = tool({"send", "--keep-vars"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("dropped net:a=1\ndropped net:b=5\n"), HasSubstr("set again net:b=5\n")));
    expectKept(state());
}

TEST_F(RouteTest, VariablesDroppedBeforeTheFinalNamesFailAreNamed) {
    start(false);
    testfiles::write("/etc/tarn/scene_info/in-the-way", "");
    const Outcome outcome = tool({"apply", kPolicy});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("dropped net:a=1\ndropped net:b=5\n"));
    expectDropped(state());
}

TEST_F(RouteTest, OnlyWhatWasDoneIsReported) {
    start(false);
    testprocess::run({"rm", std::string(kKernel) + "/paras/net/b"});
    const Outcome kept = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_THAT(kept.out, AllOf(HasSubstr("set again net:a=1\n"), Not(HasSubstr("again net:b"))));
    writePolicy(policyWithVariable());
    const Outcome set = tool({"apply", kPolicy, "--json"});
    EXPECT_EQ(set.status, 11);
    EXPECT_TRUE(parseJson(set.out)["switchedVariables"].empty());
    EXPECT_TRUE(parseJson(set.out)["variables"].empty());
    EXPECT_EQ(parseJson(set.out)["variablesFailed"].size(), 1U);
    EXPECT_THAT(tool({"apply", kPolicy}).out, Not(HasSubstr("set net:b")));
}

TEST_F(RouteTest, OnlyWhatWasReplayedIsReported) {
    start(false);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    testprocess::run({"rm", kNote, std::string(kKernel) + "/paras/net/b"});
    const Outcome outcome = tool({"send", "--json"});
    EXPECT_EQ(outcome.status, 11);
    const Json::Value object = parseJson(outcome.out);
    ASSERT_EQ(object["switchedVariables"].size(), 1U);
    EXPECT_EQ(object["switchedVariables"][0]["name"].asString(), "a");
    EXPECT_EQ(object["variables"].size(), 2U) << "both stay saved";
}

TEST_F(RouteTest, ARunLeavesNoNoteOfItsVariables) {
    start(true);
    if (IsSkipped()) {
        return;
    }
    ASSERT_EQ(tool({"apply", "--keep-vars", kPolicy}).status, 0);
    EXPECT_FALSE(testfiles::exists(kVariablesNote));
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    ASSERT_EQ(tool({"send", "--keep-vars"}).status, 0);
    EXPECT_FALSE(testfiles::exists(kVariablesNote));
    expectKept(state());
}

// Runs a delivery of a set that drops net:a and net:b and kills it when the library has removed their file and the first
// is about to be switched: its entry is a pipe without a reader. Then the entry is a plain one again.
class KilledRunTest : public RouteTest {
protected:
    static void killAfterDropping(const std::vector<std::string>& words) {
        plainKernel({"net/a", "net/b"});
        ASSERT_EQ(tool({"var", "set", "net", "a", "1"}).status, 0);
        ASSERT_EQ(tool({"var", "set", "net", "b", "5"}).status, 0);
        const std::string entry = std::string(kKernel) + "/paras/net/a";
        ASSERT_EQ(unlink(entry.c_str()), 0);
        ASSERT_EQ(mkfifo(entry.c_str(), 0600), 0);
        std::vector<std::string> command = {TARN_POLICY};
        command.insert(command.end(), words.begin(), words.end());
        testprocess::Running run(command);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (testfiles::exists(kDynamicInfo) && std::chrono::steady_clock::now() < limit) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ASSERT_EQ(kill(run.pid(), SIGKILL), 0);
        static_cast<void>(run.finish());
        ASSERT_FALSE(testfiles::exists(kDynamicInfo)) << "the run never came to the end of its delivery";
        ASSERT_EQ(unlink(entry.c_str()), 0);
        testfiles::write(entry, "");
    }
};

TEST_F(KilledRunTest, TheNextApplySetsAgainWhatWasToBeKept) {
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", "--keep-vars", kPolicy}));
    const Outcome next = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_THAT(next.err, HasSubstr("an earlier delivery was ended before it had settled"));
    EXPECT_THAT(next.out, AllOf(HasSubstr("set again for an earlier delivery net:a=1\n"),
                                HasSubstr("set again for an earlier delivery net:b=5\n")));
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\nnet:b:5\n");
    EXPECT_EQ(kernelValue("net/b"), "1");
    EXPECT_FALSE(testfiles::exists(kVariablesNote));
}

TEST_F(KilledRunTest, TheNextSendSetsAgainWhatWasToBeKept) {
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"send", "--keep-vars"}));
    const Outcome next = tool({"send", "--keep-vars"});
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\nnet:b:5\n");
}

TEST_F(KilledRunTest, ListTellsOfThem) {
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", "--keep-vars", kPolicy}));
    const Outcome list = tool({"var", "list", "--json"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.err, HasSubstr("has dropped net:b=5; the next delivery sets it again"));
    EXPECT_EQ(parseJson(list.out)["unsettledVariables"].size(), 2U);
    EXPECT_TRUE(testfiles::exists(kVariablesNote)) << "looking changes nothing";
}

TEST_F(KilledRunTest, ClearForgetsThem) {
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", "--keep-vars", kPolicy}));
    EXPECT_THAT(tool({"var", "clear"}).out, HasSubstr("forgot net:b=5, which an earlier delivery had dropped\n"));
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0);
    EXPECT_FALSE(testfiles::exists(kDynamicInfo));
}

TEST_F(KilledRunTest, AValueThatWasSetSinceHolds) {
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", "--keep-vars", kPolicy}));
    ASSERT_EQ(tool({"var", "set", "net", "a", "7"}).status, 0);
    EXPECT_EQ(tool({"apply", "--keep-vars", kPolicy}).status, 0);
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:7\nnet:b:5\n");
}

TEST_F(KilledRunTest, WhatCannotBeSetAgainIsNoSuccess) {
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", "--keep-vars", kPolicy}));
    testprocess::run({"rm", std::string(kKernel) + "/paras/net/b"});
    const Outcome next = tool({"apply", "--keep-vars", kPolicy});
    EXPECT_EQ(next.status, 11);
    EXPECT_THAT(next.err, HasSubstr("not set again for an earlier delivery: net:b=5: "));
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\n");
}

// Without --keep-vars the run stands still at the variable that the policy sets.
TEST_F(KilledRunTest, TheNextRunNamesWhatWasDropped) {
    Json::Value policy = smallPolicy();
    policy["variables"]["net"]["a"] = 9;
    writePolicy(policy);
    ASSERT_NO_FATAL_FAILURE(killAfterDropping({"apply", kPolicy}));
    const Outcome next = tool({"apply", kPolicy});
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_THAT(next.out, AllOf(HasSubstr("dropped by an earlier delivery net:a=1\n"),
                                HasSubstr("dropped by an earlier delivery net:b=5\n")));
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:9\n");
}

// The entry of a variable is a pipe without a reader: the run stands still after the variables were dropped and before
// they are set again, and is told to end right there.
TEST_F(RouteTest, ASignalWaitsUntilTheVariablesAreSettled) {
    plainKernel({"net/a"});
    ASSERT_EQ(tool({"var", "set", "net", "a", "1"}).status, 0);
    const std::string entry = std::string(kKernel) + "/paras/net/a";
    ASSERT_EQ(unlink(entry.c_str()), 0);
    ASSERT_EQ(mkfifo(entry.c_str(), 0600), 0);
    testprocess::Running apply({TARN_POLICY, "apply", "--keep-vars", kPolicy, "--json"});
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (testfiles::exists(kDynamicInfo) && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_FALSE(testfiles::exists(kDynamicInfo)) << "the run never came to the end of its delivery";
    ASSERT_EQ(kill(apply.pid(), SIGTERM), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const UniqueFd reader(open(entry.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(reader.valid());
    const Outcome outcome = apply.finish();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["droppedVariables"].size(), 1U);
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:1\n");
}

}  // namespace
