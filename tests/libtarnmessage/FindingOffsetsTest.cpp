// Each finding names the field in question by its offset, with what was expected there and what was found.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "MessageTools.h"
#include "libtarnmessage/KernelState.h"
#include "support/AnswerTable.h"

namespace {

using Edits = std::vector<std::string>;

struct Case {
    Edits message;
    const char* finding;
    std::size_t offset;
    std::uint64_t expected;
    std::uint64_t found;
};

const std::vector<Case>& cases() {
    static const std::vector<Case> kCases{
        {{"begin", "cut 1", "same length"}, "short-header", 0, 20, 19},
        {{"begin", "word 16 = 9"}, "unknown-type", 16, 4, 9},
        {{"policy-plain", "word 0 = 2"}, "format", 0, 1, 2},
        {{"policy-plain", "fill 1048577"}, "message-too-long", 1048576, 1048576, 1048577},
        {{"policy-plain", "word 4 = 125"}, "length", 4, 124, 125},
        {{"namespace", "word 8 = 96"}, "record-size", 8, 24, 96},
        {{"begin", "word 12 = 1"}, "record-count", 12, 0, 1},
        {{"policy-plain", "word 12 = 0"}, "record-count", 12, 1, 0},
        {{"policy-plain", "word 12 = 10001"}, "record-count", 12, 10000, 10001},
        {{"policy-plain", "word 12 = 3"}, "record-count", 12, 1, 3},
        {{"policy-pairs", "word 12 = 1"}, "record-count", 12, 2, 1},
        {{"namespace-empty", "cut 1"}, "short-record", 20, 4, 3},
        {{"policy-plain", "remove 116 4"}, "short-record", 24, 96, 92},
        {{"policy-condition", "word 180 = 1000"}, "short-record", 184, 1000, 55},
        {{"policy-actions", "word 116 = 3"}, "short-record", 190, 20, 0},
        {{"namespace", "word 28 = 1000"}, "short-record", 48, 1000, 41},
        {{"policy-plain", "word 20 = 7"}, "magic-number", 20, 0x5A5AA5A5, 7},
        {{"policy-pairs", "word 160 = 7"}, "magic-number", 160, 0x5A5AA5A5, 7},
        {{"policy-plain", "word 120 = 7"}, "end-number", 120, 0x1234FFFF, 7},
        {{"policy-plain", "insert 120 00 00"}, "surplus-bytes", 120, 0, 2},
        {{"begin", "insert 20 00"}, "surplus-bytes", 20, 20, 21},
        {{"namespace", "word 40 = 5"}, "reserved-word", 40, 0, 5},
        {{"namespace", "word 32 = 0"}, "namespace-without-functions", 32, 1, 0},
        {{"namespace", "word 71 = 3"}, "function-order", 71, 2, 3},
        {{"policy-special", "word 24 = 1"}, "policy-type", 24, 2, 1},
        {{"policy-condition", "word 120 = 1"}, "condition-surplus", 186, 2, 4},
        {{"policy-condition", "word 186 = 2"}, "condition-incomplete", 239, 5, 4},
        {{"policy-condition", "word 124 = 9"}, "value-not-zero", 124, 0, 9},
        {{"policy-condition", "word 128 = 9"}, "function-not-zero", 128, 0, 9},
        {{"policy-condition", "word 136 = 9"}, "name-length-not-zero", 136, 0, 9},
        {{"policy-condition", "bytes 229 = 2e"}, "variable-name", 226, 1, 0},
        {{"policy-condition", "word 176 = 4"}, "parameter-type", 176, 3, 4},
        {{"policy-condition", "word 164 = 8"}, "integer-length", 164, 0, 8},
        {{"policy-actions", "word 120 = 11"}, "action-type", 120, 4, 11},
        {{"policy-condition", "word 148 = 3"}, "unknown-function", 148, 2, 3},
        {{"policy-actions", "word 178 = 0"}, "unknown-function", 178, 2, 0},
    };
    return kCases;
}

}  // namespace

TEST(FindingOffsets, NameFieldExpectedAndFound) {
    for (const Case& test : cases()) {
        SCOPED_TRACE(testing::PrintToString(test.message));
        const auto finding = messagetools::readMessage(answertable::buildMessage(test.message));
        ASSERT_TRUE(finding);
        EXPECT_STREQ(findingInfo(finding->code).id, test.finding);
        EXPECT_EQ(finding->offset, test.offset);
        EXPECT_EQ(finding->expected, test.expected);
        EXPECT_EQ(finding->found, test.found);
    }
}

TEST(FindingOffsets, EveryFindingOfOneMessageHasACase) {
    std::set<std::string> ids;
    for (const Case& test : cases()) {
        ids.insert(test.finding);
    }
    for (std::size_t code = 0; code < tarnmessage::kFindingCodes; ++code) {
        const tarnmessage::FindingInfo& info = tarnmessage::findingInfo(static_cast<tarnmessage::FindingCode>(code));
        // Those of the order are about several messages, and point at the type.
        EXPECT_TRUE(info.answer == 71 || ids.count(info.id) == 1) << info.id;
    }
}

TEST(FindingOffsets, FindingsOfTheOrderPointAtTheType) {
    tarnmessage::KernelState kernel;
    const auto answer = kernel.deliver(golden::message("end"));
    ASSERT_TRUE(answer.finding);
    EXPECT_EQ(answer.finding->offset, 16U);
    EXPECT_EQ(answer.finding->expected, 1U);
    EXPECT_EQ(answer.finding->found, 2U);
    EXPECT_EQ(answer.header.type, 2U);
}

TEST(FindingOffsets, WithoutATableFunctionNumbersAreNotLookedUp) {
    tarnmessage::MessageVisitor nobody;
    const std::string high = messagetools::withWord(golden::message("policy-condition"), 148, 0xFFFFFFFF);
    EXPECT_FALSE(tarnmessage::parseMessage(high, {}, nobody));
    const std::string zero = messagetools::withWord(golden::message("policy-condition"), 148, 0);
    EXPECT_TRUE(tarnmessage::parseMessage(zero, {}, nobody)) << "no function has number 0";
}

TEST(FindingOffsets, VisitorSeesTheSoundRecordsBeforeAFinding) {
    struct Counter : tarnmessage::MessageVisitor {
        void onHeader(const kernelmsg::MessageHeader& header) override { announced = header.recordCount; }
        void onPolicy(const tarnmessage::PolicyRecordView& /*record*/) override { ++records; }
        std::uint32_t announced = 0;
        int records = 0;
    } counter;
    EXPECT_TRUE(messagetools::readMessage(messagetools::withWord(golden::message("policy-pairs"), 164, 9), counter));
    EXPECT_EQ(counter.announced, 2U);
    EXPECT_EQ(counter.records, 1);
}
