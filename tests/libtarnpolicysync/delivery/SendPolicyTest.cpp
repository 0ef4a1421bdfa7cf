// The whole set: the order of the messages, what is passed over, and what follows the end message.
#include <sys/stat.h>

#include <algorithm>

#include "DeliverySet.h"
#include "support/Interpose.h"

namespace {

using testlog::Line;

class SendPolicy : public DeliverySet {
protected:
    // Those of the delivery entry.
    std::vector<std::string> delivered() const {
        std::vector<std::string> result;
        for (const KernelEntry::Call& call : kernel_.calls()) {
            if (call.name == "write" && call.path == delivery::kEntry) {
                result.push_back(call.data);
            }
        }
        return result;
    }
};

TEST_F(SendPolicy, SendsBeginNamesPoliciesInDirectoryOrderAndEnd) {
    writeSet({"zulu_0_ns_g_0", "alpha_0_ns_g_0", "mike_0_ns_g_0", "alpha_0_ns_g_1", "beta_0_ns_g_0"});
    const std::vector<std::string> expected = wholeSequence();
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered(), expected);
    EXPECT_EQ(expected.size(), 8U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(SendPolicy, WritesEachMessageInAnOpenOfItsOwn) {
    writeSet({"one"});
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(kernel_.order(),
              "open write fsync close open write fsync close open write fsync close open write fsync close");
}

TEST_F(SendPolicy, NotesEachMessageAtLevelFour) {
    writeSet({"one"});
    setLogLevel(4);
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{
                                    {4, "sendSinglePolicyInternal: sent /etc/tarn/.policydata/beginmsg"},
                                    {4, "sendSinglePolicyInternal: sent /etc/tarn/.policydata/namemsg"},
                                    {4, "sendSinglePolicyInternal: sent /etc/tarn/.policydata/one"},
                                    {4, "sendSinglePolicyInternal: sent /etc/tarn/.policydata/endmsg"},
                                }));
}

TEST_F(SendPolicy, WithoutASetThereIsANoticeAndNoError) {
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{2, "##WARN: 不存在待发送策略"}}));
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendPolicy, ASecondDeliveryWithoutCompilationFindsNothing) {
    writeSet();
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    const std::size_t before = kernel_.calls().size();
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{2, "##WARN: 不存在待发送策略"}}));
    EXPECT_EQ(kernel_.calls().size(), before);
}

TEST_F(SendPolicy, NoTemporaryNameIsLeft) {
    writeSet();
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testfiles::list("/etc/tarn"),
              (std::vector<std::string>{"funcinfo", "policydata", "scene_info", "userinfo"}));
    EXPECT_EQ(testfiles::read("/etc/tarn/policydata/beginmsg"), kBegin);
    EXPECT_EQ(testfiles::list("/etc/tarn/policydata").size(), 6U);
}

TEST_F(SendPolicy, AMissingFrameMessageIsANoticeAndDeliveryGoesOn) {
    for (const std::string name : {"beginmsg", "namemsg", "endmsg"}) {
        testlog::clear();
        writeSet({"one"});
        removeDirectory(paths::kPolicyData);
        testlog::clear();
        ASSERT_TRUE(std::filesystem::remove(std::string(paths::kPolicyDataTmp) + "/" + name));
        const std::size_t before = delivered().size();
        EXPECT_EQ(manager_.sendPolicy(), 0U);
        EXPECT_EQ(delivered().size(), before + 3) << name;
        EXPECT_EQ(testlog::lines(),
                  (std::vector<Line>{{2, "sendSinglePolicyInternal: file not found: /etc/tarn/.policydata/" + name}}));
    }
}

TEST_F(SendPolicy, ASetWithoutPoliciesIsItsFrame) {
    writeSet({});
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered(), (std::vector<std::string>{kBegin, kNames, kEnd}));
}

TEST_F(SendPolicy, ALinkIsNamedAndSkipped) {
    writeSet({"one", "two"});
    testfiles::link("/etc/tarn/.policydata/one", "/etc/tarn/.policydata/link");
    testfiles::link("/nowhere", "/etc/tarn/.policydata/dangling");
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered().size(), 5U);
    std::vector<Line> lines = testlog::lines();
    std::sort(lines.begin(), lines.end(), [](const Line& left, const Line& right) { return left.text < right.text; });
    EXPECT_EQ(lines, (std::vector<Line>{{1, "skip symlink file /etc/tarn/.policydata/dangling"},
                                        {1, "skip symlink file /etc/tarn/.policydata/link"}}));
}

TEST_F(SendPolicy, DirectoriesPipesAndHiddenFilesAreSkippedInSilence) {
    writeSet({"one"});
    testfiles::makeDirectories("/etc/tarn/.policydata/directory");
    ASSERT_EQ(mkfifo("/etc/tarn/.policydata/pipe", 0600), 0);
    writePolicy(".hidden", "x");
    writePolicy("..hidden", "x");
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered(), (std::vector<std::string>{kBegin, kNames, "message of one", kEnd}));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(SendPolicy, NamesThatOnlyResembleTheFrameAreSent) {
    writeSet({"beginmsg_", "xendmsg", "Namemsg"});
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered().size(), 6U);
}

TEST_F(SendPolicy, AFileThatVanishedIsSkippedInSilence) {
    writeSet({"one", "two"});
    const auto onStat = interpose::lstat.replace([](const char* path, struct stat* status) {
        if (std::string(path) == "/etc/tarn/.policydata/one") {
            errno = ENOENT;
            return -1;
        }
        return interpose::lstat.real(path, status);
    });
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered(), (std::vector<std::string>{kBegin, kNames, "message of two", kEnd}));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(SendPolicy, ADirectoryThatCannotBeListedIsOneWithoutAMessage) {
    writeSet();
    const int before = testfiles::openDescriptors();
    {
        const auto onOpen = interpose::opendir.replace([](const char*) -> DIR* {
            errno = ENOMEM;
            return nullptr;
        });
        const auto onOpenFd = interpose::fdopendir.replace([](int) -> DIR* {
            errno = ENOMEM;
            return nullptr;
        });
        EXPECT_EQ(manager_.sendPolicy(), 1U);
    }
    EXPECT_EQ(delivered(), (std::vector<std::string>{kBegin, kNames}));
    EXPECT_TRUE(testlog::lines().empty());
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST_F(SendPolicy, ALongFileNameIsSent) {
    const std::string name(255, 'n');
    writeSet({name});
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(delivered(), (std::vector<std::string>{kBegin, kNames, "message of " + name, kEnd}));
}

TEST_F(SendPolicy, ReleasesEveryDescriptorOnSuccess) {
    writeSet();
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST_F(SendPolicy, ReplaysTheVariablesAfterTheEndMessageOfAPartialSet) {
    writeSet({"one"});
    addVariable("net", "usb", 7);
    addVariable("net", "off", 0);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(kernel_.messages(), (std::vector<std::string>{kBegin, kNames, "message of one", kEnd, "0", "1"}));
    EXPECT_EQ(manager_.dynamicVarMap.size(), 2U);
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:7\n");
}

TEST_F(SendPolicy, DropsTheVariablesAfterAFullCompilation) {
    writeSet({"one"});
    addVariable("net", "usb", 7);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    manager_.fullCompiled = true;
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(kernel_.messages(), (std::vector<std::string>{kBegin, kNames, "message of one", kEnd}));
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
    EXPECT_TRUE(manager_.fullCompiled) << "the flag belongs to the compilations";
}

TEST_F(SendPolicy, AFailedReplayOfOneVariableDoesNotStopTheDelivery) {
    writeSet({"one"});
    manager_.dynamicVarMap[{"net", "missing"}] = 1;
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/paras/net/missing failed"}}));
    EXPECT_TRUE(testfiles::exists(paths::kPolicyData));
}

TEST_F(SendPolicy, AFailingClearingGoesOnToTheFinalNames) {
    writeSet({"one"});
    testfiles::makeDirectories(paths::kDynamicInfo);
    manager_.fullCompiled = true;
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "##ERROR: in func clearDynamicVariableInfo unlink /etc/tarn/dynamicinfo failed\\n"}}));
    EXPECT_TRUE(testfiles::exists(paths::kPolicyData));
    EXPECT_FALSE(testfiles::exists(paths::kPolicyDataTmp));
}

TEST_F(SendPolicy, GivesTheStatusOfTheFinalRenaming) {
    writeSet({"one"});
    ASSERT_TRUE(std::filesystem::remove(paths::kSceneInfoTmp));
    EXPECT_EQ(manager_.sendPolicy(), 1U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "##ERROR: in func finalizeTmpFile, rename scene info error."}}));
    EXPECT_EQ(delivered().size(), 4U);
}

// By then the kernel has the whole set, so its variables go with it.
TEST_F(SendPolicy, VariablesAreReplayedBeforeARenameFails) {
    writeSet({"one"});
    addVariable("net", "usb", 7);
    ASSERT_TRUE(std::filesystem::remove(paths::kSceneInfoTmp));
    EXPECT_EQ(manager_.sendPolicy(), 1U);
    EXPECT_EQ(kernel_.messages(), (std::vector<std::string>{kBegin, kNames, "message of one", kEnd, "1"}));
    EXPECT_TRUE(testfiles::exists(paths::kPolicyDataTmp));
}

TEST_F(SendPolicy, VariablesAreDroppedBeforeARenameFails) {
    writeSet({"one"});
    addVariable("net", "usb", 7);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    manager_.fullCompiled = true;
    ASSERT_TRUE(std::filesystem::remove(paths::kSceneInfoTmp));
    EXPECT_EQ(manager_.sendPolicy(), 1U);
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
}

// A link inside the allowed trees passes for a set, and its frame is sent; listing it follows no link.
TEST_F(SendPolicy, ALinkToADirectoryIsSentUpToItsNames) {
    testfiles::write("/etc/tarn/real/beginmsg", kBegin);
    testfiles::write("/etc/tarn/real/namemsg", kNames);
    testfiles::write("/etc/tarn/real/one", "policy");
    testfiles::write("/etc/tarn/real/endmsg", kEnd);
    testfiles::link("/etc/tarn/real", paths::kPolicyDataTmp);
    testfiles::write(paths::kSceneInfoTmp, "99:ns\n");
    addVariable("net", "usb", 7);
    const std::map<std::string, std::string> before = delivery::tree("/etc/tarn");
    EXPECT_EQ(manager_.sendPolicy(), 1U);
    EXPECT_EQ(kernel_.messages(), (std::vector<std::string>{kBegin, kNames}));
    EXPECT_TRUE(testlog::lines().empty());
    EXPECT_EQ(delivery::tree("/etc/tarn"), before);
}

TEST_F(SendPolicy, AnUnsafeDirectoryIsNotASet) {
    testfiles::makeDirectories("/var/log/elsewhere");
    testfiles::link("/var/log/elsewhere", paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Illegal path in directoryExists: /etc/tarn/.policydata"},
                                                   {2, "##WARN: 不存在待发送策略"}}));
}

}  // namespace
