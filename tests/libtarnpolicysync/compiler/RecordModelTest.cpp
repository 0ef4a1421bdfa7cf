// Records of seeded random rules against the independent model.
#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"
#include "support/RandomPolicy.h"

namespace {

TEST(RecordModel, RandomRulesGiveTheBytesOfTheModel) {
    std::size_t compared = 0;
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        model::RandomPolicy random(seed);
        const model::Policy policy = random.policy();
        CompilerManager manager(policy.numbers);
        for (const auto& [key, group] : policy.groups) {
            for (const PolicyNode& rule : group.vecPolicy) {
                const TARN_ID subject = random.identifier();
                const TARN_ID object = random.identifier();
                const std::string record = manager.encode(rule, subject, object);
                ASSERT_EQ(manager.status, 0U) << "seed " << seed << " key " << key;
                ASSERT_TRUE(testbytes::same(model::record(policy.numbers, rule, subject, object), record))
                    << "seed " << seed << " key " << key;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 300U);
    EXPECT_TRUE(testlog::lines().empty());
}

}  // namespace
