// A refusal at each message of a delivery with each errno: the status, the lines, and what is left on disk, in the
// tables and in the kernel.
#include "DeliverySet.h"
#include "support/Bytes.h"

namespace {

using testlog::Line;

struct Place {
    const char* name;
    std::size_t write;  // the message's number
    const char* complaint;
    int streamsLeftOpen;
};

class SendPolicyRefusal : public DeliverySet, public testing::WithParamInterface<Place> {};

TEST_P(SendPolicyRefusal, StopsTheDeliveryAndLeavesEverythingElse) {
    const Place& place = GetParam();
    writeSet({"one", "two", "three"});
    addVariable("net", "usb", 7);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    const std::vector<std::string> sequence = wholeSequence();
    const std::map<std::string, std::string> before = delivery::tree("/etc/tarn");
    std::vector<std::string> sent;
    for (const bool full : {false, true}) {
        for (const delivery::Answer& answer : delivery::kAnswers) {
            testlog::clear();
            manager_.fullCompiled = full;
            kernel_.refuse(sent.size() + place.write, answer.number);
            const int descriptors = testfiles::openDescriptors();
            EXPECT_EQ(manager_.sendPolicy(), static_cast<unsigned int>(answer.number));
            std::vector<Line> lines = delivery::refusal(answer);
            lines.push_back({1, place.complaint});
            EXPECT_EQ(testlog::lines(), lines);
            // Nothing is sent after the refused message, no variable is touched, no file renamed.
            sent.insert(sent.end(), sequence.begin(), sequence.begin() + static_cast<std::ptrdiff_t>(place.write));
            EXPECT_EQ(kernel_.messages(), sent);
            EXPECT_TRUE(testbytes::sameFiles(before, delivery::tree("/etc/tarn")));
            EXPECT_EQ(manager_.dynamicVarMap.size(), 1U);
            EXPECT_EQ(manager_.fullCompiled, full);
            EXPECT_EQ(testfiles::openDescriptors() - descriptors, place.streamsLeftOpen);
        }
    }
}

TEST_P(SendPolicyRefusal, IsFollowedByACompleteDelivery) {
    writeSet({"one", "two", "three"});
    const std::vector<std::string> sequence = wholeSequence();
    kernel_.refuse(GetParam().write, 71);
    EXPECT_EQ(manager_.sendPolicy(), 71U);
    EXPECT_EQ(manager_.sendPolicy(), 0U);
    std::vector<std::string> messages = kernel_.messages();
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(GetParam().write));
    EXPECT_EQ(messages, sequence);
    EXPECT_TRUE(testfiles::exists(paths::kPolicyData));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, SendPolicyRefusal,
    testing::Values(Place{"Begin", 1, "##ERROR: in func sendPolicy, send beginmsg error.", 0},
                    Place{"Names", 2, "##ERROR: in func sendPolicy, send namemsg error.", 0},
                    // One would expect the stream of the directory to be closed; hosts have always seen it stay open.
                    Place{"FirstPolicy", 3, "##ERROR: in func sendPolicy, send Policy error.", 1},
                    Place{"SecondPolicy", 4, "##ERROR: in func sendPolicy, send Policy error.", 1},
                    Place{"LastPolicy", 5, "##ERROR: in func sendPolicy, send Policy error.", 1},
                    Place{"End", 6, "##ERROR: in func sendPolicy, send end policy error.", 0}),
    [](const testing::TestParamInfo<Place>& tested) { return tested.param.name; });

class SendPolicyLocalFailure : public DeliverySet {};

TEST_F(SendPolicyLocalFailure, AnEntryThatCannotBeOpenedIsMinusOne) {
    writeSet();
    testfiles::makeDirectories(delivery::kEntry);
    EXPECT_EQ(manager_.sendPolicy(), 0xFFFFFFFFU);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/policy_deliver failed"},
                                 {1, "sendSinglePolicyInternal: write to kernel deliver failed, err=-1"},
                                 {1, "##ERROR: in func sendPolicy, send beginmsg error."}}));
}

TEST_F(SendPolicyLocalFailure, AFrameMessageThatIsALinkIsOne) {
    for (const auto& [name, complaint] :
         std::vector<std::pair<std::string, std::string>>{{"beginmsg", "send beginmsg error."},
                                                          {"namemsg", "send namemsg error."},
                                                          {"endmsg", "send end policy error."}}) {
        testlog::clear();
        std::filesystem::remove_all(paths::kPolicyDataTmp);
        writeSet({"one"});
        const std::string path = paths::inDirectory(paths::kPolicyDataTmp, name);
        ASSERT_TRUE(std::filesystem::remove(path));
        testfiles::link("/etc/tarn/.policydata/one", path);
        EXPECT_EQ(manager_.sendPolicy(), 1U);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "sendSinglePolicyInternal: open " + path +
                                                               " failed: Too many levels of symbolic links"},
                                                       {1, "##ERROR: in func sendPolicy, " + complaint}}));
        EXPECT_TRUE(testfiles::exists(paths::kSceneInfoTmp));
    }
}

}  // namespace
