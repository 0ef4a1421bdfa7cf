// restore and send-init: a finished set of this machine or of a mounted tree goes to the kernel.
#include <sys/mount.h>

#include <functional>

#include "SectionFixture.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;

constexpr char kMount[] = "/var/log/tree";
constexpr char kTree[] = "/var/log/tree/etc/tarn";
constexpr char kFinished[] =
    "warning: the renames at the end of an earlier run were cut off and have been finished: /etc/tarn/policydata is "
    "the "
    "set of that run\n";
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
    static void renameSceneInfo() {
        ASSERT_EQ(testprocess::run({"mv", "/etc/tarn/.scene_info", "/etc/tarn/scene_info"}).status, 0);
    }
    // Compiles, begins the renames as the library does, and gives the messages of the set that waits.
    static std::vector<std::string> renamesCutOff() {
        EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
        renameSceneInfo();
        return messages(kSet);
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
TEST_F(RestoreTest, RenamesThatWereCutOffAreFinishedAndTheirSetIsDelivered) {
    finished();
    writePolicy(changedPolicy());
    const std::vector<std::string> taken = renamesCutOff();
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"restore"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(kFinished));
    EXPECT_EQ(messages(kFinalSet), taken);
    EXPECT_FALSE(testfiles::exists(kSet));
    EXPECT_FALSE(testfiles::exists(kNote));
    EXPECT_NE(testfiles::read(kDeliver), "");
}

// Every message of the new set is in the old one, too.
TEST_F(RestoreTest, RulesThatWereTakenBackStayTakenBackWhereTheRenamesWereCutOff) {
    for (const std::string verb : {"restore", "send-init", "compile", "apply"}) {
        writePolicy(smallPolicy());
        finished();
        Json::Value policy = smallPolicy();
        policy["groups"].removeMember("extra");
        writePolicy(policy);
        const std::vector<std::string> taken = renamesCutOff();
        ASSERT_TRUE(testfiles::exists(std::string(kFinalSet) + "/extra_0_quiet_h_0"));
        const bool compiles = verb == "compile" || verb == "apply";
        const Outcome outcome = compiles ? tool({verb, kPolicy}) : tool({verb});
        EXPECT_EQ(outcome.status, 0) << verb << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(kFinished)) << verb;
        EXPECT_EQ(messages(kFinalSet), taken) << verb;
    }
}

TEST_F(RestoreTest, ASetThatWasRemovedAlreadyIsReplacedByTheOneThatWaits) {
    for (const std::string verb : {"restore", "send-init"}) {
        finished();
        const std::vector<std::string> taken = renamesCutOff();
        remove(kFinalSet);
        const Outcome outcome = tool({verb});
        EXPECT_EQ(outcome.status, 0) << verb << outcome.err;
        EXPECT_EQ(messages(kFinalSet), taken);
        EXPECT_NE(testfiles::read(kDeliver), "");
    }
}

TEST_F(RestoreTest, WhereTheSetThatWaitsIsDamagedTheOldOneIsNotSent) {
    const std::vector<std::function<void()>> damages = {
        [] { testfiles::write(std::string(kSet) + "/base_0_net_g_0", ""); },
        [] { remove(std::string(kSet) + "/beginmsg"); },
        [] { remove(std::string(kSet) + "/extra_0_quiet_h_0"); },  // the note lists it
    };
    for (std::size_t index = 0; index < damages.size(); ++index) {
        finished();
        renamesCutOff();
        damages[index]();
        const Outcome outcome = expectRefused(7, {"restore"}, "tarn-policy apply");
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("use the set /etc/tarn/policydata: the renames at the end of an "
                                                 "earlier run were cut off (/etc/tarn/.policydata stands without "
                                                 "/etc/tarn/.scene_info), and a part of this set may be gone"),
                                       HasSubstr("the one that waits is damaged")))
            << index;
        expectRefused(7, {"send-init"}, "tarn-policy apply");
        EXPECT_EQ(testfiles::read(kDeliver), "");
        EXPECT_EQ(tool({"apply", kPolicy}).status, 0) << "the way out";
        EXPECT_EQ(tool({"restore"}).status, 0);
    }
}

// A policy without calls needs no namespace message to be read.
TEST_F(RestoreTest, ASetWithoutItsNamespaceMessageDoesNotBecomeTheFinishedOne) {
    Json::Value policy = smallPolicy();
    rule(policy, "base", 0).removeMember("condition");
    writePolicy(policy);
    finished();
    renamesCutOff();
    remove(std::string(kSet) + "/namemsg");
    expectRefused(7, {"restore"}, "tarn-policy apply");
}

TEST_F(RestoreTest, WithoutTheKernelsEntryNoRenamesAreFinished) {
    finished();
    renamesCutOff();
    remove(kDeliver);
    expectRefused(8, {"restore"}, "tarn_main");
}

// What can't be told is not taken for a copy: the finished set is not sent as it stands.
TEST_F(RestoreTest, EqualTimesAreTakenForRenamesThatWereCutOff) {
    finished();
    renamesCutOff();
    remove(std::string(kSet) + "/endmsg");
    ASSERT_EQ(testprocess::run({"ln", "/etc/tarn/scene_info", std::string(kSet) + "/endmsg"}).status, 0);
    expectRefused(7, {"restore"}, "tarn-policy apply");
}

TEST_F(RestoreTest, WithoutAnySideFileTheRenamesAreTakenToBeCutOff) {
    finished();
    renamesCutOff();
    remove("/etc/tarn/scene_info");
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", "");
    expectRefused(7, {"restore"}, "tarn-policy apply");
}

// Another compilation replaces the set that waits, and with it what tells of the renames.
TEST_F(RestoreTest, ALaterCompilationFinishesTheRenamesFirst) {
    finished();
    writePolicy(changedPolicy());
    const std::vector<std::string> taken = renamesCutOff();
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr(kFinished));
    EXPECT_EQ(messages(kFinalSet), taken);
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, AnInitialCompilationFinishesTheRenamesFirst) {
    finished();
    renamesCutOff();
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", "--init", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr(kFinished));
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, APolicyThatIsRefusedLeavesCutOffRenamesAsTheyAre) {
    for (const bool damaged : {false, true}) {
        finished();
        renamesCutOff();
        if (damaged) {
            testfiles::write(std::string(kSet) + "/base_0_net_g_0", "");
        }
        expectRefused(5, {"compile", "/etc/tarn/no-such.json"}, "correct what is listed");
        EXPECT_THAT(expectRefused(5, {"apply", "/etc/tarn/no-such.json"}).err,
                    HasSubstr("tarn-policy restore finishes the renames that were cut off"));
    }
}

TEST_F(RestoreTest, ASideFileThatCannotBeRenamedEndsTheRunBeforeTheSetIsRenamed) {
    finished();
    renamesCutOff();
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
                              HasSubstr("now: /etc/tarn/policydata may be gone in part; the set that takes its place "
                                        "stands whole under /etc/tarn/.policydata"),
                              HasSubstr("next: look into /var/log/tarn-policy.log")));
            EXPECT_THAT(outcome.err, testing::Not(HasSubstr("have been finished")));
            EXPECT_EQ(messages(kSet), waiting);
            const Outcome restored = tool({"restore"});
            EXPECT_EQ(restored.status, 7);
            EXPECT_THAT(restored.err, HasSubstr("cannot rename /etc/tarn/." + name));
            EXPECT_EQ(messages(kSet), waiting);
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
    renameSceneInfo();
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("have been finished"));
    EXPECT_EQ(tool({"restore"}).status, 0);
}

TEST_F(RestoreTest, RenamesOfADamagedSetAreNotFinishedAndTheOldSetIsNeverSent) {
    finished();
    renamesCutOff();
    remove(std::string(kFinalSet) + "/extra_0_quiet_h_0");
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", "no message");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("and its set is damaged: /etc/tarn/policydata has no end message any longer"));
    EXPECT_EQ(tool({"restore"}).status, 7);
    EXPECT_EQ(tool({"send"}).status, 0) << "the way out";
}

// A compilation of a section by the library alone writes the namespace message and leaves the note of the set before.
TEST_F(RestoreTest, TheNoteOfAnotherCompilationDoesNotMakeTheSetThatWaitsADamagedOne) {
    finished();
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    testfiles::awaitNextTimeStamp("/etc/tarn");
    remove(std::string(kSet) + "/extra_0_quiet_h_0");
    testfiles::write(std::string(kSet) + "/namemsg", testfiles::read(std::string(kSet) + "/namemsg"));
    const std::vector<std::string> taken = messages(kSet);
    renameSceneInfo();
    EXPECT_EQ(tool({"restore"}).status, 0);
    EXPECT_EQ(messages(kFinalSet), taken);
}

TEST_F(RestoreTest, TheNoteOfASetThatWasExchangedDoesNotMakeTheOtherADamagedOne) {
    finished();
    Json::Value policy = smallPolicy();
    policy["groups"].removeMember("extra");
    writePolicy(policy);
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    const std::vector<std::string> taken = messages(kSet);
    ASSERT_EQ(testprocess::run({"mv", kSet, "/etc/tarn/aside"}).status, 0);
    testfiles::awaitNextTimeStamp("/etc/tarn");
    writePolicy(smallPolicy());
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    remove(kSet);
    ASSERT_EQ(testprocess::run({"mv", "/etc/tarn/aside", kSet}).status, 0);
    renameSceneInfo();
    EXPECT_EQ(tool({"restore"}).status, 0);
    EXPECT_EQ(messages(kFinalSet), taken);
}

TEST_F(RestoreTest, AMessageThatTheNoteListsIsMissedWhereRenamesAreFinished) {
    finished();
    renamesCutOff();
    remove(std::string(kSet) + "/extra_0_quiet_h_0");
    const Outcome outcome = tool({"compile", kPolicy});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("and its set is damaged"));
}

// Whoever has put a link there keeps what it leads to.
TEST_F(RestoreTest, NoEndMessageIsTakenAwayThroughALink) {
    finished();
    renamesCutOff();
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", "");
    ASSERT_EQ(testprocess::run({"mv", kFinalSet, "/etc/tarn/elsewhere"}).status, 0);
    testfiles::link("/etc/tarn/elsewhere", kFinalSet);
    EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
    EXPECT_TRUE(testfiles::exists("/etc/tarn/elsewhere/endmsg"));
}

TEST_F(RestoreTest, WhereTheFinishedSetIsSpoiltNobodyIsSentToIt) {
    finished();
    renamesCutOff();
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", "");
    const Outcome outcome = toolWithLabelManager("forget", {"apply", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("tarn-policy restore has nothing to deliver: the last finished set "
                                       "(/etc/tarn/policydata) has no end message"));
}

// What the library's compilation of a section leaves where it fails before it writes anything. What it can't copy it skips,
// for want of room for instance.
TEST_F(RestoreTest, ACopyOfTheFinishedSetIsNoRenameThatWasCutOff) {
    const std::vector<std::function<void()>> flaws = {
        [] {},
        [] { testfiles::write(std::string(kSet) + "/base_0_net_g_0", ""); },
        [] { remove(std::string(kSet) + "/extra_0_quiet_h_0"); },
    };
    for (std::size_t index = 0; index < flaws.size(); ++index) {
        remove(kSet);
        finished();
        const std::vector<std::string> whole = messages(kFinalSet);
        testfiles::awaitNextTimeStamp("/etc/tarn");
        ASSERT_EQ(testprocess::run({"cp", "-a", kFinalSet, kSet}).status, 0);
        flaws[index]();
        const Outcome outcome = tool({"restore"});
        EXPECT_EQ(outcome.status, 0) << index << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("/etc/tarn/.policydata stays as it is and was not delivered: without "
                                           "/etc/tarn/.scene_info it cannot be sent; remove it, or compile again"));
        const Outcome section = expectRefused(7, {"section", "net", "g", kPolicy, "--send"});
        EXPECT_THAT(section.err, HasSubstr("or remove /etc/tarn/.policydata, so that the section is put into the "
                                           "finished set"));
        EXPECT_EQ(tool({"compile", kPolicy}).status, 0);
        EXPECT_EQ(messages(kFinalSet), whole) << index;
    }
}

TEST_F(RestoreTest, AMessageOfAnySizeIsReportedAsDamage) {
    finished();
    renamesCutOff();
    for (const char* set : {kSet, kFinalSet}) {
        const std::string message = std::string(set) + "/base_0_net_g_0";
        ASSERT_EQ(testprocess::run({"truncate", "-s", "4T", message}).status, 0);
    }
    EXPECT_EQ(tool({"restore"}).status, 7);
    EXPECT_EQ(tool({"section", "net", "g", kPolicy}).status, 7);
    EXPECT_EQ(tool({"apply", "/etc/tarn/no-such.json"}).status, 5);
    EXPECT_EQ(tool({"apply", kPolicy}).status, 0);
}

TEST_F(RestoreTest, ACompilationWithoutItsEndMessageSaysNothingOfTheFinishedSet) {
    finished();
    renamesCutOff();
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

TEST_F(RestoreTest, RenamesThatWereCutOffInATreeAreLeftAlone) {
    ASSERT_NO_FATAL_FAILURE(mountedTree());
    if (IsSkipped()) {
        return;
    }
    const std::string tree = kTree;
    ASSERT_EQ(testprocess::run({"cp", "-a", tree + "/policydata", tree + "/.policydata"}).status, 0);
    testfiles::write(tree + "/scene_info", "");
    for (const bool removed : {false, true}) {
        if (removed) {
            remove(tree + "/policydata");
        }
        const std::vector<std::string> before = snapshot(tree);
        const Outcome outcome = tool({"send-init", kMount});
        EXPECT_EQ(outcome.status, 7);
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr("/var/log/tree/etc/tarn/.policydata stands without"),
                          HasSubstr("next: compile the policy into the tree again with tarn-policy compile")));
        EXPECT_EQ(snapshot(tree), before);
    }
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
