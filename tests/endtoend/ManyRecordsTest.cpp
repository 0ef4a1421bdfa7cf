// One large rule set: every record is there, every message within its bounds. TARN_TEST_RECORDS asks for another number
// of records, for instance 1000000.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/LogLines.h"

namespace {

constexpr std::size_t kPairs = 100;  // of one rule

TEST(ManyRecords, CompileAndArriveWhole) {
    const char* wanted = std::getenv("TARN_TEST_RECORDS");
    const std::size_t rules = (wanted == nullptr ? 100000 : std::stoul(wanted)) / kPairs;
    CompilerManager manager(samples::numbers(), 2);
    PolicyDb group;
    for (std::size_t number = 0; number < rules; ++number) {
        PolicyNode rule = samples::rule();
        rule.uiAttrA = static_cast<unsigned int>(number);
        rule.vecSubjectId.clear();
        rule.vecObjectId.clear();
        for (std::size_t index = 0; index < 10; ++index) {
            rule.vecSubjectId.push_back(samples::id(index));
            rule.vecObjectId.push_back(samples::id(number, index));
        }
        group.vecPolicy.push_back(rule);
    }
    manager.addPolicy("base", group);
    manager.setNamespaceInfo("ns");
    testfiles::write("/etc/tarn/labels.json",
                     R"({"format": "tarn-labels", "version": 1, "labels": {"subject_file": {"/a": [[1, 2, 3]]}}})");
    manager.setFileToGetLabelMap("subject_file", "/a");
    ASSERT_EQ(manager.compileData(), 0U);

    // Counted file by file: the whole set is not held in memory a second time.
    std::size_t records = 0;
    const std::vector<std::vector<PolicyNode>> slices = model::slices(group.vecPolicy, 2);
    for (std::size_t slice = 0; slice < slices.size(); ++slice) {
        const std::string prefix = "/etc/tarn/.policydata/base_" + std::to_string(slice) + "_ns_g_";
        std::size_t next = 0;
        for (std::size_t index = 0; testfiles::exists(prefix + std::to_string(index)); ++index) {
            std::vector<model::Bytes> expected;
            for (; next < slices[slice].size() && expected.size() < 10000; ++next) {
                for (model::Bytes& bytes : model::records(samples::numbers(), slices[slice][next])) {
                    expected.push_back(std::move(bytes));
                }
            }
            ASSERT_TRUE(
                testbytes::same(model::policyMessage(expected), testfiles::read(prefix + std::to_string(index))));
            records += expected.size();
        }
    }
    EXPECT_EQ(records, rules * kPairs);

    // The files of the set, the frame included, are what is delivered.
    const std::size_t files = testfiles::list(paths::kPolicyDataTmp).size();
    EXPECT_EQ(manager.sendPolicy(), 0U);
    EXPECT_EQ(testfiles::list(paths::kPolicyData).size(), files);
    EXPECT_TRUE(testlog::lines(1).empty());
}

}  // namespace
