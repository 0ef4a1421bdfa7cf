// What the verbs that read sets record by record need of memory: no more for ten times the records.
#include "SetFixture.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory for a while

namespace {

using namespace settest;

class MemoryTest : public SetTest, public testing::WithParamInterface<std::vector<std::string>> {
protected:
    // Of a set with so many files, each with other subjects.
    static long peakWith(std::uint32_t files) {
        constexpr std::uint32_t kRecords = 10000;
        for (std::uint32_t file = 0; file < files; ++file) {
            testfiles::write(at("base_0_net_g_" + std::to_string(file)), plainMessage(kRecords, 1 + file * kRecords));
        }
        std::vector<std::string> words = GetParam();
        words.emplace_back(kSet);
        return peakOfTool(words);
    }
};

TEST_P(MemoryTest, DoesNotGrowWithTheSet) {
    put("beginmsg", "begin");
    put("namemsg", "namespace");
    put("endmsg", "end");
    const long few = peakWith(3);
    const long many = peakWith(30);
    EXPECT_GT(few, 1000);
    EXPECT_LT(many, few + 4096) << "KiB";
}

using Words = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(Verbs, MemoryTest,
                         testing::Values(Words{"inspect", "--json"}, Words{"verify", "--copy", "--no-duplicates"},
                                         Words{"stat"}, Words{"query", "--json"}),
                         [](const auto& verb) { return verb.param.front(); });

}  // namespace

#endif
