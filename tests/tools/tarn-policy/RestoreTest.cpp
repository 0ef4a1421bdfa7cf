// restore and send-init: a finished set of this machine or of a mounted tree goes to the kernel.
#include <sys/mount.h>

#include "SectionFixture.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;

constexpr char kMount[] = "/var/log/tree";
constexpr char kTree[] = "/var/log/tree/etc/tarn";
constexpr char kRules[] = "/sys/kernel/security/tarn/.sim/rules";

class RestoreTest : public SectionToolTest {
protected:
    // A finished set, the kernel's entry forgotten.
    static void finished() {
        plainKernel();
        apply();
        testfiles::write(kDeliver, "");
    }
    // Names and bytes.
    static std::vector<std::string> messages(const std::string& set) {
        std::vector<std::string> result;
        for (const std::string& name : testfiles::list(set)) {
            result.push_back(name + ": " + testfiles::read(set + "/" + name));
        }
        return result;
    }
    // The finished set goes into a tree that is mounted.
    static void mountedTree() {
        finished();
        testfiles::makeDirectories(kMount);
        if (mount("tree", kMount, "tmpfs", 0, nullptr) != 0) {
            GTEST_SKIP() << "nothing can be mounted here";
        }
        testfiles::makeDirectories(kTree);
        ASSERT_EQ(testprocess::run({"mv", kFinalSet, kTree}).status, 0);
    }
    void TearDown() override {
        static_cast<void>(umount2(kMount, MNT_DETACH));
        SectionToolTest::TearDown();
    }
};

TEST_F(RestoreTest, BringsTheLastFinishedSetBackAfterAFailedApply) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"8:22"}));
    if (IsSkipped()) {
        return;
    }
    apply();  // five messages
    const std::string rules = testfiles::read(kRules);
    writePolicy(changedPolicy());
    ASSERT_EQ(tool({"apply", kPolicy}).status, 9);
    const std::vector<std::string> before = snapshot("/etc/tarn");
    const Outcome outcome = tool({"restore"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "delivered: the kernel holds the whole set /etc/tarn/policydata\n");
    EXPECT_THAT(outcome.err, HasSubstr("warning: /etc/tarn/.policydata stays as it is and was not delivered"));
    EXPECT_EQ(testfiles::read(kRules), rules);
    EXPECT_THAT(testfiles::read(kTranscript), HasSubstr("13 end"));
    EXPECT_EQ(snapshot("/etc/tarn"), before) << "nothing is renamed or removed";
}

TEST_F(RestoreTest, ARefusedMessageIsNamed) {
    ASSERT_NO_FATAL_FAILURE(simulatedKernel({}, {"6:5", "8:61", "13:70"}));
    if (IsSkipped()) {
        return;
    }
    apply();
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"beginmsg (message 1 of 5) was refused: EIO (5)", "the kernel has taken nothing of this set"},
        {"namemsg (message 2 of 5) was refused: ENODATA (61)", "the kernel has taken the first 1 of 5 messages"},
        {"(message 5 of 5) was refused: ECOMM (70)", "the kernel has taken the first 4 of 5 messages"}};
    for (const auto& [refused, holds] : expected) {
        const Outcome outcome = tool({"restore", "--json"});
        EXPECT_EQ(outcome.status, 9);
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr("cannot deliver /etc/tarn/policydata"), HasSubstr(refused), HasSubstr(holds)));
        EXPECT_TRUE(parseJson(outcome.out)["delivery"].isMember("refused"));
    }
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, WithoutAFinishedSetThereIsNothing) {
    plainKernel();
    const Outcome outcome = tool({"restore"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/etc/tarn/policydata: there is no finished set"), HasSubstr("next: ")));
}

TEST_F(RestoreTest, ASetWithoutPoliciesIsNothing) {
    finished();
    remove(std::string(kFinalSet) + "/base_0_net_g_0");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"restore"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("it holds no policy message"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, ADamagedSetIsNotSent) {
    for (const char* name : {"beginmsg", "endmsg", "namemsg"}) {
        finished();
        remove(std::string(kFinalSet) + "/" + name);
        EXPECT_EQ(tool({"restore"}).status, 7) << name;
        EXPECT_EQ(testfiles::read(kDeliver), "") << name;
    }
    finished();
    testfiles::write(std::string(kFinalSet) + "/base_0_net_g_0", "no message");
    EXPECT_EQ(tool({"restore"}).status, 7);
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

// Killed while the old set was being removed: its end message is still there, one of its messages is not.
TEST_F(RestoreTest, ASetThatMayHaveBeenRemovedInPartIsNotSent) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = expectRefused(7, {"restore"}, "tarn-policy apply");
    EXPECT_THAT(outcome.err,
                HasSubstr("use the set /etc/tarn/policydata: the renames at the end of an earlier run were "
                          "cut off (/etc/tarn/.policydata stands without /etc/tarn/.scene_info), and a part "
                          "of this set may be gone"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0) << "the way out";
    EXPECT_EQ(tool({"restore"}).status, 0);
}

// Another compilation replaces the set that waits, and with it what tells of the renames.
TEST_F(RestoreTest, ALaterCompilationFinishesTheRenamesFirst) {
    finished();
    writePolicy(changedPolicy());
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    const std::vector<std::string> taken = messages(kSet);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("warning: the renames at the end of an earlier run were cut off and have been "
                                       "finished: /etc/tarn/policydata is the set of that run\n"));
    EXPECT_EQ(messages(kFinalSet), taken);
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, AnApplyThatFailsHasFinishedTheRenames) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    EXPECT_EQ(tool({"apply", "/etc/tarn/no-such.json"}).status, 5);
    EXPECT_TRUE(testfiles::exists(std::string(kFinalSet) + "/extra_0_quiet_h_0"));
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_FALSE(testfiles::exists(kNote));
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, ASideFileThatCannotBeRenamedEndsTheRunBeforeTheSetIsRenamed) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    for (const std::string name : {"funcinfo", "userinfo"}) {
        remove("/etc/tarn/" + name);
        testfiles::makeDirectories("/etc/tarn/" + name);
        for (const std::string verb : {"compile", "apply"}) {
            const std::vector<std::string> waiting = messages(kSet);
            const Outcome outcome = tool({verb, kPolicy});
            EXPECT_EQ(outcome.status, 1) << verb << " " << name;
            EXPECT_THAT(outcome.err,
                        AllOf(HasSubstr("cannot rename /etc/tarn/." + name + " to /etc/tarn/" + name + ": "),
                              HasSubstr("next: look into /var/log/tarn-policy.log")));
            EXPECT_THAT(outcome.err, testing::Not(HasSubstr("have been finished")));
            EXPECT_EQ(messages(kSet), waiting);
            EXPECT_EQ(tool({"restore"}).status, 7);
        }
        ASSERT_EQ(testprocess::run({"rmdir", "/etc/tarn/" + name}).status, 0);
    }
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << "the way out";
    EXPECT_THAT(outcome.err, HasSubstr("have been finished"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/funcinfo"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/userinfo"));
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, SideFilesThatWereRenamedAlreadyAreNoFailure) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    for (const std::string name : {"funcinfo", "userinfo"}) {
        ASSERT_EQ(testprocess::run({"mv", "/etc/tarn/." + name, "/etc/tarn/" + name}).status, 0);
    }
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("have been finished"));
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, RenamesOfADamagedSetAreNotFinishedAndTheOldSetIsNeverSent) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", "no message");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("and its set is damaged: /etc/tarn/policydata has no end message any longer"));
    EXPECT_EQ(tool({"restore"}).status, 7);
    EXPECT_EQ(tool({"send"}).status, 0) << "the way out";
}

// What the library's compilation of a section leaves where it fails before it writes anything.
TEST_F(RestoreTest, ACopyOfTheFinishedSetIsNoRenameThatWasCutOff) {
    finished();
    ASSERT_EQ(testprocess::run({"cp", "-a", kFinalSet, kSet}).status, 0);
    EXPECT_EQ(tool({"restore"}).status, 0);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 0);
}

TEST_F(RestoreTest, WhatCannotBeReadInTheFinishedSetHidesNoFailure) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    testfiles::makeDirectories(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    for (const std::string verb : {"restore", "send"}) {
        EXPECT_EQ(tool({verb}).status, 7) << verb;
    }
    expectRefused(7, {"section", "net", "g", kPolicy});
}

TEST_F(RestoreTest, ACompilationWithoutItsEndMessageSaysNothingOfTheFinishedSet) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove("/etc/tarn/.scene_info");
    remove(std::string(kSet) + "/endmsg");
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, ALinkInThePlaceOfTheSetIsNotFollowed) {
    finished();
    ASSERT_EQ(testprocess::run({"mv", kFinalSet, "/etc/tarn/elsewhere"}).status, 0);
    testfiles::link("/etc/tarn/elsewhere", kFinalSet);
    EXPECT_EQ(tool({"restore"}).status, 7);
    EXPECT_EQ(testfiles::read(kDeliver), "");
    expectRefused(7, {"section", "net", "g", kPolicy});
}

TEST_F(RestoreTest, WithoutTheKernelsEntryNothingIsSent) {
    finished();
    remove(kDeliver);
    EXPECT_EQ(tool({"restore"}).status, 8);
    EXPECT_FALSE(testfiles::exists(kDeliver)) << "no plain file in the kernel's place";
}

TEST_F(RestoreTest, TheSavedVariablesAreSwitchedAndKept) {
    finished();
    plainKernel({"net/a"});
    saveVariables("net:a:5\n");
    const Outcome outcome = tool({"restore"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("replayed net:a=5\n"));
    EXPECT_EQ(kernelValue("net/a"), "1");
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:a:5\n");
    saveVariables("net:nosuch:5\n");
    EXPECT_EQ(tool({"restore"}).status, 11);
}

// The library would send begin, names and end without a single rule, or nothing at all, and report success.
TEST_F(RestoreTest, AFileSystemWithoutEntryTypesIsRefused) {
    finished();
    const Outcome outcome =
        tool({"restore"}, {"LD_PRELOAD=" TARN_DIRECTORY_DOUBLE, "ASAN_OPTIONS=verify_asan_link_order=0"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the library would send 0 of 2 policy messages"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, SendInitDeliversTheSetOfThisMachine) {
    finished();
    const Outcome outcome = tool({"send-init", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["set"].asString(), kFinalSet);
    EXPECT_EQ(object["delivery"]["delivered"].asInt(), 5);
    EXPECT_NE(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, SendInitDeliversTheSetOfAMountedTree) {
    ASSERT_NO_FATAL_FAILURE(mountedTree());
    if (IsSkipped()) {
        return;
    }
    plainKernel({"net/a"});
    testfiles::write(std::string(kTree) + "/dynamicinfo", "net:a:5\n");
    EXPECT_EQ(tool({"send-init"}).status, 3) << "this machine has none";
    const Outcome outcome = tool({"send-init", kMount, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["set"].asString(), std::string(kTree) + "/policydata");
    EXPECT_EQ(object["delivery"]["delivered"].asInt(), 5);
    EXPECT_EQ(kernelValue("net/a"), "1");
    EXPECT_FALSE(testfiles::exists(kDynamicInfo)) << "the variables of the tree stay in the tree";
}

TEST_F(RestoreTest, ASetOfATreeThatMayHaveBeenRemovedInPartIsNotSent) {
    ASSERT_NO_FATAL_FAILURE(mountedTree());
    if (IsSkipped()) {
        return;
    }
    testfiles::write(std::string(kTree) + "/.policydata/endmsg", "");
    const Outcome outcome = tool({"send-init", kMount});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/var/log/tree/etc/tarn/.policydata stands without"),
                                   HasSubstr("next: compile the policy into the tree again with tarn-policy compile")));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

// The library does not follow it, and would find out when the kernel has the whole set.
TEST_F(RestoreTest, VariablesOfATreeThatTheLibraryRefusesAreFoundBeforeAnythingIsSent) {
    ASSERT_NO_FATAL_FAILURE(mountedTree());
    if (IsSkipped()) {
        return;
    }
    testfiles::write("/var/log/variables", "net:a:5\n");
    testfiles::link("/var/log/variables", std::string(kTree) + "/dynamicinfo");
    const Outcome outcome = tool({"send-init", kMount});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read /var/log/tree/etc/tarn/dynamicinfo: it is not a regular file"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, ADamagedSetOfATreeIsNotSent) {
    ASSERT_NO_FATAL_FAILURE(mountedTree());
    if (IsSkipped()) {
        return;
    }
    remove(std::string(kTree) + "/policydata/endmsg");
    const Outcome outcome = tool({"send-init", kMount});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, HasSubstr("/var/log/tree/etc/tarn/policydata"));
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, WhatIsNoMountPointIsRefused) {
    finished();
    testfiles::makeDirectories(kTree);
    EXPECT_THAT(tool({"send-init", kMount}).err, HasSubstr("nothing is mounted there"));
    EXPECT_EQ(tool({"send-init", kMount}).status, 1);
    for (const char* word : {"var/log/tree", "/var/log/tree/", "/var//log", "/var/../log"}) {
        EXPECT_EQ(tool({"send-init", word}).status, 2) << word;
    }
    EXPECT_EQ(testfiles::read(kDeliver), "");
}

TEST_F(RestoreTest, TheRootIsThisMachine) {
    finished();
    EXPECT_EQ(tool({"send-init", "/"}).status, 0);
    EXPECT_NE(testfiles::read(kDeliver), "");
}

}  // namespace
