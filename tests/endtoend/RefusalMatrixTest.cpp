// The refusals of the whole way where no kernel can refuse: the same compiled set, and the writes answered in the test.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "NamedPolicy.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/Files.h"
#include "support/KernelEntry.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"

namespace {

class RefusalMatrix : public testing::TestWithParam<int> {};

TEST_P(RefusalMatrix, EveryMessageOfACompiledSetWithThisErrno) {
    model::Shape shape;
    shape.keys = 2;
    shape.rulesPerKey = 20;
    const NamedPolicy policy(43, shape);
    ManagerAccess manager;
    policy.handOver(manager);
    ASSERT_EQ(manager.compileData(), 0U);
    manager.dynamicVarMap[{"net", "usb"}] = 7;
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    const auto before = testbytes::readFiles(paths::kPolicyDataTmp);
    const std::vector<std::string> tarn = testfiles::list("/etc/tarn");
    const auto functions = manager.m_mapFuncId;
    const auto names = manager.m_mapNameId;
    KernelEntry kernel;
    std::size_t sent = 0;
    for (std::size_t message = 1; message <= before.size(); ++message) {
        testlog::clear();
        kernel.refuse(sent + message, GetParam());
        EXPECT_EQ(manager.sendPolicy(), static_cast<unsigned int>(GetParam())) << "message " << message;
        sent += message;
        EXPECT_EQ(kernel.messages().size(), sent) << "nothing follows a refused message";
        EXPECT_EQ(testlog::lines(1).size(), 3U) << "writer, sender and stage, once each";
        EXPECT_TRUE(testbytes::sameFiles(before, testbytes::readFiles(paths::kPolicyDataTmp)));
        EXPECT_EQ(testfiles::list("/etc/tarn"), tarn);
        EXPECT_EQ(manager.dynamicVarMap.size(), 1U);
        EXPECT_EQ(manager.m_mapFuncId, functions);
        EXPECT_EQ(manager.m_mapNameId, names);
        EXPECT_EQ(manager.m_mapPolicy.size(), policy.model().groups.size());
        EXPECT_TRUE(manager.fullCompiled);
    }
    EXPECT_EQ(manager.sendPolicy(), 0U);
    EXPECT_EQ(kernel.messages().size(), sent + before.size());
    EXPECT_TRUE(manager.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
    EXPECT_FALSE(testfiles::exists(paths::kPolicyDataTmp));
}

INSTANTIATE_TEST_SUITE_P(Answers, RefusalMatrix, testing::Values(5, 12, 22, 61, 70, 71, 74, 28),
                         [](const testing::TestParamInfo<int>& tested) {
                             return "Errno" + std::to_string(tested.param);
                         });

TEST(CompiledSet, HoldsTheFilesOfTheModelAndTheNamespaceMessage) {
    for (std::uint32_t seed = 50; seed < 56; ++seed) {
        std::filesystem::remove_all(paths::kPolicyData);
        const NamedPolicy policy(seed, model::Shape{});
        ManagerAccess manager;
        manager.threadnum = static_cast<std::uint16_t>(seed % 5 + 1);
        policy.handOver(manager);
        manager.m_mapNameId["pinned"] = 7;
        ASSERT_EQ(manager.compileData(), 0U);
        model::Files expected = model::policyFiles(policy.model().numbers, policy.model().groups, manager.threadnum);
        expected["beginmsg"] = model::beginMessage();
        expected["endmsg"] = model::endMessage();
        // The message follows the order of the manager's own table.
        model::Namespaces namespaces(manager.m_mapNamespaceFunc.begin(), manager.m_mapNamespaceFunc.end());
        expected["namemsg"] = model::namespaceMessage(policy.model().numbers, namespaces);
        EXPECT_TRUE(testbytes::sameFiles(expected, testbytes::readFiles(paths::kPolicyDataTmp))) << "seed " << seed;
    }
    EXPECT_TRUE(testlog::lines(1).empty());
}

}  // namespace
