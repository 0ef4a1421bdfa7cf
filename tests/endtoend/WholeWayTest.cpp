// From the host's calls to the bytes that the simulated kernel took: random rule sets, read back and compared with the
// model. And a refusal of the kernel at each message with each errno.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "NamedPolicy.h"
#include "SimulatedKernel.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/Model.h"
#include "support/Process.h"

namespace {

using simulated::kTranscript;
using simulated::messagesInForce;
using simulated::tell;

std::vector<std::string> transcriptLines() {
    std::istringstream text(testfiles::read(kTranscript));
    std::vector<std::string> result;
    for (std::string line; std::getline(text, line);) {
        result.push_back(line);
    }
    return result;
}

class WholeWay : public testing::Test {
protected:
    void SetUp() override {
        if (!simulated::isThere()) {
            GTEST_SKIP() << "needs a kernel entry that refuses: the simulator on FUSE";
        }
        tell("reset\n");
    }

    static model::Shape smallShape() {
        model::Shape shape;
        shape.rulesPerKey = 25;
        return shape;
    }
};

TEST_F(WholeWay, RandomRuleSetsArriveAsTheModelSays) {
    for (std::uint32_t seed = 1; seed <= 8; ++seed) {
        std::filesystem::remove_all(paths::kPolicyData);
        std::filesystem::remove(paths::kSceneInfo);
        const NamedPolicy policy(seed, smallShape());
        PolicyModuleManagerInterface manager;
        policy.handOver(manager);
        ASSERT_EQ(manager.compileData(), 0U) << seed;
        ASSERT_EQ(manager.sendPolicy(), 0U) << seed << "\n" << testfiles::read(kTranscript);
        model::Numbers numbers = policy.model().numbers;
        numbers.names.clear();  // a fresh machine pins no number
        const std::vector<std::string> messages = messagesInForce();
        ASSERT_GE(messages.size(), 3U);
        EXPECT_TRUE(testbytes::same(model::beginMessage(), messages.front()));
        EXPECT_TRUE(testbytes::same(model::endMessage(), messages.back()));
        EXPECT_TRUE(testbytes::sameList(model::allRecords(numbers, policy.model().groups), simulated::recordsInForce()))
            << "seed " << seed;
    }
    EXPECT_TRUE(testlog::lines(1).empty());
}

TEST_F(WholeWay, EveryMessageIsTakenInTheOrderOfASet) {
    const NamedPolicy policy(3, smallShape());
    PolicyModuleManagerInterface manager;
    policy.handOver(manager);
    ASSERT_EQ(manager.compileData(), 0U);
    const std::size_t files = testfiles::list(paths::kPolicyDataTmp).size();
    ASSERT_EQ(manager.sendPolicy(), 0U);
    const std::vector<std::string> lines = transcriptLines();
    ASSERT_EQ(lines.size(), files);
    EXPECT_EQ(lines.front(), "1 begin bytes=20 records=0 accepted");
    EXPECT_EQ(lines.back(), std::to_string(files) + " end bytes=20 records=0 accepted");
    for (const std::string& line : lines) {
        EXPECT_NE(line.find("accepted"), std::string::npos) << line;
    }
}

TEST_F(WholeWay, ASwitchedVariableReachesTheKernelAndComesBackAfterARestart) {
    tell("para net/usb\n");
    const std::string entry = paths::kernelParameter("net", "usb");
    {
        PolicyModuleManagerInterface manager;
        ASSERT_EQ(manager.modifyDynamicVariable("net", "usb", 7, true), 0);
        EXPECT_EQ(testfiles::read(entry).substr(0, 1), "1");
        ASSERT_EQ(manager.modifyDynamicVariable("net", "usb", 0, false), 0);
        EXPECT_EQ(testfiles::read(entry).substr(0, 1), "0");
    }
    PolicyModuleManagerInterface restarted;
    EXPECT_EQ(restarted.sendDynamicInfo(""), 0);
    EXPECT_EQ(testfiles::read(entry).substr(0, 1), "1");
}

TEST_F(WholeWay, AVariableThatTheKernelDoesNotOfferIsRefused) {
    PolicyModuleManagerInterface manager;
    EXPECT_EQ(manager.modifyDynamicVariable("net", "nosuch", 1, true), 1);
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
}

// A refusal at each message with each errno.
class WholeWayRefusal : public WholeWay, public testing::WithParamInterface<int> {};

TEST_P(WholeWayRefusal, AtEachMessageStopsThereAndLeavesEverythingForTheNextTry) {
    const int error = GetParam();
    model::Shape shape = smallShape();
    shape.keys = 2;
    shape.rulesPerKey = 20;
    const NamedPolicy policy(43, shape);
    PolicyModuleManagerInterface manager;
    policy.handOver(manager);
    ASSERT_EQ(manager.compileData(), 0U);
    const auto before = testbytes::readFiles(paths::kPolicyDataTmp);
    const std::vector<std::string> tarn = testfiles::list("/etc/tarn");
    ASSERT_GE(before.size(), 5U);
    for (std::size_t message = 1; message <= before.size(); ++message) {
        testlog::clear();
        tell("reset\n");
        tell("refuse " + std::to_string(message) + " " + std::to_string(error) + "\n");
        EXPECT_EQ(manager.sendPolicy(), static_cast<unsigned int>(error)) << "message " << message;
        EXPECT_EQ(transcriptLines().size(), message);
        EXPECT_TRUE(messagesInForce().empty()) << "the kernel holds no part of the set";
        EXPECT_TRUE(testbytes::sameFiles(before, testbytes::readFiles(paths::kPolicyDataTmp)));
        EXPECT_EQ(testfiles::list("/etc/tarn"), tarn);
        EXPECT_EQ(testlog::lines(1).size(), 3U) << "writer, sender and stage, once each";
    }
    tell("reset\n");
    EXPECT_EQ(manager.sendPolicy(), 0U);
    EXPECT_EQ(messagesInForce().size(), before.size());
    EXPECT_FALSE(testfiles::exists(paths::kPolicyDataTmp));
}

INSTANTIATE_TEST_SUITE_P(Answers, WholeWayRefusal, testing::Values(5, 12, 22, 61, 70, 71, 74, 28),
                         [](const testing::TestParamInfo<int>& tested) {
                             return "Errno" + std::to_string(tested.param);
                         });

}  // namespace
