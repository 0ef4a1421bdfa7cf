// Every golden message is read as what its annotations say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "MessageTools.h"
#include "support/Files.h"

using messagetools::readMessage;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Names : public tarnmessage::MessageVisitor {
public:
    void onNamespace(const tarnmessage::NamespaceView& block) override {
        names.emplace_back(block.name);
        numbers.push_back(block.node.nameId);
        tarnmessage::FunctionCursor cursor = block.functions();
        for (tarnmessage::FunctionView function; cursor.next(function);) {
            functions.push_back(std::to_string(function.functionId) + " " + std::string(function.name));
        }
    }
    std::vector<std::string> names;
    std::vector<std::uint32_t> numbers;
    std::vector<std::string> functions;
};

// The records of one message as lines, and the last one's condition in infix order.
class Records : public tarnmessage::MessageVisitor {
public:
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        lines.push_back(tarnmessage::recordLine(record, announced.functions));
        infix = tarnmessage::conditionInfixText(record, announced.functions);
        nodes.push_back(record.node);
        offsets.push_back(record.offset);
        sizes.push_back(record.bytes.size());
    }
    messagetools::Announced announced;
    std::vector<std::string> lines;
    std::vector<kernelmsg::PolicyNodeRecord> nodes;
    std::vector<std::size_t> offsets;
    std::vector<std::size_t> sizes;
    std::string infix;
};

void readRecords(const std::string& name, Records& records) {
    const auto finding = readMessage(golden::message(name), records);
    EXPECT_FALSE(finding.has_value()) << (finding ? tarnmessage::toText(*finding) : "");
}

constexpr char kPlainStart[] =
    "namespace=net(4075427327) type=1 subject=0x11:0x12:0x13 object=0x21:0x22:0x23 class=1 perm=0x2 attrA=0 attrB=0 "
    "ext=0,0,0,0 ";

}  // namespace

TEST(GoldenMessages, TheListNamesEveryFileOfTheFolder) {
    std::vector<std::string> names;
    for (const char* name : golden::kNames) {
        names.push_back(std::string(name) + ".hex");
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, testfiles::list(TARN_GOLDEN_DIR));
}

TEST(GoldenMessages, AreAllAccepted) {
    for (const char* name : golden::kNames) {
        const auto finding = readMessage(golden::message(name));
        EXPECT_FALSE(finding.has_value()) << name << ": " << tarnmessage::toText(*finding);
    }
}

TEST(GoldenMessages, BeginAndEndAreHeadersAlone) {
    EXPECT_EQ(golden::message("begin"), std::string("\1\0\0\0\x14\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0", 20));
    EXPECT_EQ(golden::message("end"), std::string("\1\0\0\0\x14\0\0\0\0\0\0\0\0\0\0\0\2\0\0\0", 20));
}

TEST(GoldenMessages, NamespaceMessageOfOneNamespaceHas93Bytes) {
    EXPECT_EQ(golden::message("namespace").size(), 93U);
    Names names;
    EXPECT_FALSE(readMessage(golden::message("namespace"), names));
    EXPECT_THAT(names.names, ElementsAre("net"));
    EXPECT_THAT(names.numbers, ElementsAre(4075427327U));
    EXPECT_THAT(names.functions, ElementsAre("1 netmod:check", "2 netmod:log"));
}

TEST(GoldenMessages, NamespaceMessageOfTwoNamespacesCountsFunctionsInEach) {
    Names names;
    EXPECT_FALSE(readMessage(golden::message("namespace-two"), names));
    EXPECT_THAT(names.names, ElementsAre("net", "fs"));
    EXPECT_THAT(names.numbers, ElementsAre(4075427327U, 7U));
    EXPECT_THAT(names.functions, ElementsAre("1 netmod:check", "2 netmod:log", "1 fsmod:audit"));
}

TEST(GoldenMessages, EmptyNamespaceMessageHas24Bytes) {
    EXPECT_EQ(golden::message("namespace-empty").size(), 24U);
    Names names;
    EXPECT_FALSE(readMessage(golden::message("namespace-empty"), names));
    EXPECT_TRUE(names.names.empty());
}

TEST(GoldenMessages, PlainRecordHas100Bytes) {
    Records records;
    readRecords("policy-plain", records);
    EXPECT_THAT(records.lines, ElementsAre(std::string(kPlainStart) + "condition={} actions={}"));
    EXPECT_THAT(records.offsets, ElementsAre(20U));
    EXPECT_THAT(records.sizes, ElementsAre(100U));
}

TEST(GoldenMessages, EveryWordOfARecordIsReadFromItsPlace) {
    Records records;
    readRecords("policy-special", records);
    EXPECT_THAT(records.lines,
                ElementsAre("namespace=net(4075427327) type=2 subject=0x1:0xffffffffffffffff:0x123456789abcdef "
                            "object=0xffffffffffffffff:0x0:0x9 class=3 perm=0x4 attrA=5 attrB=6 ext=101,103,104,105 "
                            "condition={} actions={}"));
}

TEST(GoldenMessages, ConditionIsReadInPrefixAndWrittenInInfixOrder) {
    Records records;
    readRecords("policy-condition", records);
    EXPECT_THAT(records.lines, ElementsAre(std::string(kPlainStart) +
                                           "condition={op2 netmod:check(7, \"ab\") not net:usb_block[1]} actions={}"));
    EXPECT_EQ(records.infix, "(netmod:check(7, \"ab\") op2 not net:usb_block[1])");
}

TEST(GoldenMessages, EveryKindOfNodeIsRead) {
    Records records;
    readRecords("policy-kinds", records);
    EXPECT_EQ(records.infix,
              "((((((((operand0 op10 7) op9 ns:v[5]) op8 netmod:check()) op7 operand13) op6 not 4294967295) op5 "
              "netmod:log(-1, \"\")) op3 0) op2 operand14)");
}

TEST(GoldenMessages, ActionsAreCallsWithTheirParameters) {
    Records records;
    readRecords("policy-actions", records);
    EXPECT_THAT(records.lines, ElementsAre(std::string(kPlainStart) +
                                           "condition={} actions={netmod:log(\"denied\", 2), netmod:check()}"));
}

TEST(GoldenMessages, PairsOfOneRuleDifferInObjectAndPolicyType) {
    Records records;
    readRecords("policy-pairs", records);
    ASSERT_EQ(records.lines.size(), 2U);
    EXPECT_THAT(records.lines[0], HasSubstr("type=1 subject=0x11:0x12:0x13 object=0x21:0x22:0x23"));
    EXPECT_THAT(records.lines[1], HasSubstr("type=2 subject=0x11:0x12:0x13 object=0xffffffffffffffff:0x32:0x33"));
    EXPECT_THAT(records.lines[1], HasSubstr("condition={1} actions={netmod:log()}"));
    EXPECT_THAT(records.offsets, ElementsAre(20U, 160U));
}

TEST(GoldenMessages, AnnotatedHexRefusesWhatIsNoByte) {
    EXPECT_EQ(golden::bytesOf("a5 5A # 77\n\n00"), std::string("\xa5\x5a\0", 3));
    EXPECT_THROW(golden::bytesOf("a5 5"), std::runtime_error);
    EXPECT_THROW(golden::bytesOf("0x5a"), std::runtime_error);
    EXPECT_THROW(golden::bytesOf("+5"), std::runtime_error);
    EXPECT_THROW(golden::message("no-such-message"), std::runtime_error);
}
