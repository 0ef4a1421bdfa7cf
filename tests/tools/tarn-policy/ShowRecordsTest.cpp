// The example that reads a set back.
#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;

class ShowRecordsTest : public ToolTest {
protected:
    static Outcome show(const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {TARN_SHOW_RECORDS};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return testprocess::run(words);
    }
};

TEST_F(ShowRecordsTest, PrintsTheFirstRecordWithACondition) {
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    const Outcome outcome = show({kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("from base_0_net_g_0:\n"), HasSubstr("netmod:check")));
}

TEST_F(ShowRecordsTest, SaysWhatIsWrongWithASet) {
    ASSERT_EQ(tool({"compile", kPolicy}).status, 0);
    const std::string damaged = std::string(kSet) + "/base_0_net_g_0";
    testfiles::write(damaged, testfiles::read(damaged).substr(0, 100));
    const Outcome outcome = show({kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("is not a sound set"), HasSubstr("\n  base_0_net_g_0: ")));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(ShowRecordsTest, NeedsADirectory) {
    EXPECT_EQ(show({}).status, 2);
    EXPECT_EQ(show({"/etc/tarn/none"}).status, 1);
}

}  // namespace
