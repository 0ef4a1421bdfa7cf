// The magic number and the 96-byte node of a record: every offset, and what refuses a rule before anything is appended.
#include <gtest/gtest.h>

#include <string>

#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/LogLines.h"

namespace {

using testbytes::same;
using testlog::Line;

std::uint32_t word(const std::string& record, std::size_t offset) {
    const std::size_t place = 4 + offset;  // the magic number stands before the node
    std::uint32_t value = 0;
    for (std::size_t byte = 4; byte-- > 0;) {
        value = value << 8U | static_cast<unsigned char>(record.at(place + byte));
    }
    return value;
}

class RecordHead : public testing::Test {
protected:
    std::string encode() { return manager_.encode(rule_, subject_, object_); }
    // Encodes a rule that must be refused with this status before anything is appended.
    std::vector<Line> refused(unsigned int status) {
        EXPECT_EQ(encode(), "");
        EXPECT_EQ(manager_.status, status);
        return testlog::lines();
    }

    CompilerManager manager_{samples::numbers()};
    PolicyNode rule_ = samples::rule();
    TARN_ID subject_ = samples::id(0x0807060504030201, 0x100F0E0D0C0B0A09, 0x1817161514131211);
    TARN_ID object_ = samples::id(0x2827262524232221, 0x302F2E2D2C2B2A29, 0x3837363534333231);
};

TEST_F(RecordHead, HasExactlyOneHundredBytesWithoutConditionAndActions) {
    EXPECT_EQ(encode().size(), 100U);
    EXPECT_EQ(manager_.status, 0U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(RecordHead, StandsByteForByte) {
    rule_.uiAttrA = 0xA1A2A3A4;
    rule_.uiAttrB = 0xB1B2B3B4;
    rule_.sPerm = "write";
    for (unsigned int index = 0; index < 5; ++index) {
        rule_.uiExt[index] = 0xE0 + index;
    }
    EXPECT_TRUE(same(model::fromHex(R"(
        a5 a5 5a 5a                                                              # magic number
        01 00 00 00                                                              # 0: ordinary object
        b4 b3 b2 b1                                                              # 4: uiAttrB
        01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14 15 16 17 18  # 8: subject
        21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f 30 31 32 33 34 35 36 37 38  # 32: object
        a4 a3 a2 a1                                                              # 56: uiAttrA
        01 00 00 00                                                              # 60: class
        02 00 00 00                                                              # 64: permission
        e0 00 00 00  63 00 00 00  e2 00 00 00  e3 00 00 00  e4 00 00 00          # 68: words, the second the namespace
        00 00 00 00                                                              # 88: condition nodes
        00 00 00 00                                                              # 92: actions
    )"),
                     encode()));
}

TEST_F(RecordHead, CountsConditionNodesAndActions) {
    rule_ = samples::ruleWithEverything();
    const std::string record = encode();
    EXPECT_EQ(word(record, 88), 6U);
    EXPECT_EQ(word(record, 92), 2U);
}

TEST_F(RecordHead, CountsSurplusOperandsAsTheyStand) {
    rule_.vecExpr = {samples::constant(1), samples::constant(2)};
    const std::string record = encode();
    EXPECT_EQ(manager_.status, 0U);
    EXPECT_EQ(word(record, 88), 2U);
    EXPECT_TRUE(same(model::words({11, 2, 0, 0, 0, 11, 1, 0, 0, 0}), record.substr(100)));
}

TEST_F(RecordHead, ASpecialObjectGivesPolicyTypeTwo) {
    object_ = samples::id(0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(word(encode(), 0), 2U);
}

TEST_F(RecordHead, AnObjectOneBelowTheSpecialWordIsOrdinary) {
    object_ = samples::id(0xFFFFFFFFFFFFFFFE, 0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(word(encode(), 0), 1U);
}

TEST_F(RecordHead, ASpecialSubjectDoesNotDecideThePolicyType) {
    subject_ = samples::id(0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(word(encode(), 0), 1U);
}

TEST_F(RecordHead, AnUnknownNamespaceGetsItsChecksum) {
    rule_.strNamespace = "net";
    EXPECT_EQ(word(encode(), 72), 4075427327U);
    EXPECT_EQ(manager_.m_mapNameId.at("net"), 4075427327U);
}

TEST_F(RecordHead, TheNamespaceNumberTakesTheWholeWord) {
    manager_.m_mapNameId["ns"] = 0xFFFFFFFF;
    EXPECT_EQ(word(encode(), 72), 0xFFFFFFFFU);
}

TEST_F(RecordHead, TheRuleOfTheCallerKeepsItsWords) {
    rule_.uiExt[1] = 5;
    encode();
    EXPECT_EQ(rule_.uiExt[1], 5U);
}

TEST_F(RecordHead, IsAppendedBehindWhatTheBufferHolds) {
    OutputBuffer buffer(OutputBuffer::kCapacity - 20);
    EXPECT_EQ(manager_.makeSinglePolicy(rule_, subject_, object_, buffer.cursor, buffer.used), 0U);
    EXPECT_EQ(manager_.makeSinglePolicy(rule_, object_, subject_, buffer.cursor, buffer.used), 0U);
    EXPECT_EQ(buffer.used, 220U);
    EXPECT_TRUE(buffer.consistent());
    EXPECT_TRUE(same(std::string(20, '\0') + model::record(samples::numbers(), rule_, subject_, object_) +
                         model::record(samples::numbers(), rule_, object_, subject_) +
                         std::string(OutputBuffer::kCapacity - 220, '\0'),
                     buffer.storage));
}

TEST_F(RecordHead, AClassWithoutNumbersLeavesZeros) {
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", R"({"file": {}, "dir": {"perms": {"read": 3}}})");
    ASSERT_EQ(manager_.importPermData(), 0);
    EXPECT_EQ(word(encode(), 60), 0U);
    EXPECT_EQ(word(encode(), 64), 0U);
    rule_.sPermClass = "dir";
    EXPECT_EQ(word(encode(), 60), 0U);
    EXPECT_EQ(word(encode(), 64), 3U);
}

TEST_F(RecordHead, AnUnknownClassIsRefused) {
    rule_.sPermClass = "nofile";
    EXPECT_EQ(refused(1),
              (std::vector<Line>{
                  {1, "###ERROR: in func transPerm, wrong perm class nofile."},
                  {1, "####ERROR: in func makeSinglePolicy, transPerm error，permclass is nofile，perm is read"}}));
}

TEST_F(RecordHead, AnUnknownPermissionIsRefused) {
    rule_.sPerm = "noread";
    EXPECT_EQ(refused(1),
              (std::vector<Line>{
                  {1, "###ERROR: in func transPerm, wrong permission noread."},
                  {1, "####ERROR: in func makeSinglePolicy, transPerm error，permclass is file，perm is noread"}}));
}

TEST_F(RecordHead, AnEmptyNamespaceIsRefused) {
    rule_.strNamespace = "";
    EXPECT_EQ(refused(1), (std::vector<Line>{{2, "####WARN: in func getNameId, empty strNamespace."},
                                             {1, "####ERROR: in func makeSinglePolicy, getNameId error"}}));
}

TEST_F(RecordHead, ThePermissionIsTranslatedBeforeTheNamespaceIsLookedUp) {
    rule_.sPermClass = "nofile";
    rule_.strNamespace = "";
    EXPECT_EQ(refused(1).size(), 2U);
    rule_.strNamespace = "fresh";
    refused(1);
    EXPECT_EQ(manager_.m_mapNameId.count("fresh"), 0U);
}

TEST_F(RecordHead, ABadConditionIsRefusedAfterTheHeadWasAppended) {
    rule_.vecExpr = {samples::node(1)};
    rule_.vecDoFunc = {samples::action("f")};
    EXPECT_TRUE(
        same(model::record(samples::numbers(), samples::rule(), subject_, object_).substr(0, 92) + model::words({1, 1}),
             encode()));
    EXPECT_EQ(manager_.status, 1U);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: in func postToPreFix, stack empty for EXPR_TYPE_NOT"},
                                 {1, "####ERROR: in func makeSinglePolicy, postToPreFix error"}}));
}

}  // namespace
