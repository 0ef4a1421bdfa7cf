// The records of condition nodes with their names and parameters.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"

namespace {

using testbytes::same;
using testlog::Line;

class RecordCondition : public testing::Test {
protected:
    std::string encode(const ExprNode& node) {
        OutputBuffer buffer;
        status_ = manager_.makeSingleExprPolicy(rule_, node, buffer.cursor, buffer.used);
        EXPECT_TRUE(buffer.consistent());
        return buffer.appended();
    }

    CompilerManager manager_{samples::numbers()};
    PolicyNode rule_ = samples::rule();
    unsigned int status_ = 99;
};

TEST_F(RecordCondition, AConstantCarriesItsValue) {
    EXPECT_TRUE(same(model::words({11, 7, 0, 0, 0}), encode(samples::constant(7))));
    EXPECT_EQ(status_, 0U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(RecordCondition, AConstantTakesTheWholeWord) {
    EXPECT_TRUE(same(model::words({11, 0xFFFFFFFF, 0, 0, 0}), encode(samples::constant(0xFFFFFFFF))));
}

TEST_F(RecordCondition, ADynamicVariableCarriesValueAndNameWithNamespace) {
    EXPECT_TRUE(same(model::fromHex(R"(
        0c 00 00 00  05 00 00 00  00 00 00 00  00 00 00 00  04 00 00 00
        6e 73 3a 76  # ns:v
    )"),
                     encode(samples::variable("v", 5))));
    EXPECT_EQ(status_, 0U);
}

TEST_F(RecordCondition, AnEmptyVariableNameLeavesNamespaceAndColon) {
    EXPECT_TRUE(same(model::words({12, 5, 0, 0, 3}) + "ns:", encode(samples::variable("", 5))));
}

TEST_F(RecordCondition, TheNameComesBeforeTheParameters) {
    ExprNode node = samples::variable("v", 5);
    node.vecParam = {samples::string("ab")};
    EXPECT_TRUE(same(model::words({12, 5, 0, 1, 4}) + "ns:v" + model::words({3, 2}) + "ab", encode(node)));
}

TEST_F(RecordCondition, ACallCarriesItsFunctionNumberAndParameters) {
    EXPECT_TRUE(same(model::fromHex(R"(
        04 00 00 00  00 00 00 00  02 00 00 00  02 00 00 00  00 00 00 00  # call of function 2 with two parameters
        02 00 00 00  00 00 00 00  03 00 00 00 00 00 00 00                # integer 3
        03 00 00 00  02 00 00 00  61 62                                  # string ab
    )"),
                     encode(samples::call("g", {samples::integer(3), samples::string("ab")}))));
    EXPECT_EQ(status_, 0U);
}

TEST_F(RecordCondition, ACallHasNoValueAndNoName) {
    ExprNode node = samples::call("f");
    node.uiValue = 9;
    node.strVarName = "v";
    EXPECT_TRUE(same(model::words({4, 0, 1, 0, 0}), encode(node)));
}

TEST_F(RecordCondition, AFunctionNumberTakesTheWholeWord) {
    manager_.m_mapFuncId[{"ns", "mod:f"}] = 0xFFFFFFFF;
    EXPECT_TRUE(same(model::words({4, 0, 0xFFFFFFFF, 0, 0}), encode(samples::call("f"))));
}

TEST_F(RecordCondition, IntegersAreEightBytesOfTwosComplement) {
    const auto integer = [&](std::int64_t value) {
        return encode(samples::call("f", {samples::integer(value)})).substr(28);
    };
    EXPECT_TRUE(same(model::fromHex("fe ff ff ff ff ff ff ff"), integer(-2)));
    EXPECT_TRUE(same(model::fromHex("08 07 06 05 04 03 02 01"), integer(0x0102030405060708)));
    EXPECT_TRUE(same(model::fromHex("00 00 00 00 00 00 00 80"), integer(std::numeric_limits<std::int64_t>::min())));
}

TEST_F(RecordCondition, StringsAreBytesWithoutTerminator) {
    const std::string text("a\0b\xff", 4);
    EXPECT_TRUE(same(model::words({4, 0, 1, 1, 0, 3, 4}) + text, encode(samples::call("f", {samples::string(text)}))));
}

TEST_F(RecordCondition, AnEmptyStringIsItsInformationBlockAlone) {
    EXPECT_TRUE(same(model::words({4, 0, 1, 1, 0, 3, 0}), encode(samples::call("f", {samples::string("")}))));
    EXPECT_EQ(status_, 0U);
}

TEST_F(RecordCondition, OperatorsAndUnknownCodesCarryTheirCodeAlone) {
    for (const unsigned int code : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 8U, 9U, 10U, 13U, 0xFFFFFFFFU}) {
        ExprNode node(code, "nosuchfunction", 8);
        node.strVarName = "v";
        EXPECT_TRUE(same(model::words({code, 0, 0, 0, 0}), encode(node))) << code;
        EXPECT_EQ(status_, 0U) << code;
    }
}

TEST_F(RecordCondition, ParametersAreWrittenForEveryCode) {
    for (const unsigned int code : {0U, 1U, 2U, 10U, 11U, 13U}) {
        ExprNode node(code, "", 0);
        node.vecParam = {samples::integer(1)};
        EXPECT_TRUE(same(model::words({code, 0, 0, 1, 0, 2, 0, 1, 0}), encode(node))) << code;
    }
}

TEST_F(RecordCondition, AnUnknownFunctionIsRefusedBeforeAnythingIsAppended) {
    EXPECT_EQ(encode(samples::call("nosuch", {samples::integer(1)})), "");
    EXPECT_EQ(status_, 1U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "####ERROR: in func getFuncId, no module mod function nosuch."},
                                                   {1, "####ERROR: in makeSingleExprPolicy, getFuncId error."}}));
}

TEST_F(RecordCondition, ACallWithoutFunctionNameIsRefused) {
    EXPECT_EQ(encode(samples::call("")), "");
    EXPECT_EQ(status_, 1U);
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: in func getFuncId, empty strNamespace or strModuleName or strFuncName."},
                           {1, "####ERROR: in makeSingleExprPolicy, getFuncId error."}}));
}

TEST_F(RecordCondition, TheFunctionIsLookedUpInTheModuleAndNamespaceOfTheRule) {
    manager_.m_mapFuncId[{"other", "mod:h"}] = 5;
    manager_.m_mapFuncId[{"ns", "other:h"}] = 6;
    encode(samples::call("h"));
    EXPECT_EQ(status_, 1U);
    rule_.strModuleName = "other";
    EXPECT_TRUE(same(model::words({4, 0, 6, 0, 0}), encode(samples::call("h"))));
}

TEST_F(RecordCondition, AWrongParameterTypeIsRefusedAfterItsInformationBlock) {
    for (const unsigned int type : {0U, 1U, 4U, 0xFFFFFFFFU}) {
        testlog::clear();
        // What the length word of a rejected parameter holds is nobody's business: the message is dropped.
        const std::string bytes = encode(samples::call("f", {samples::integer(1), samples::wrongType(type)}));
        EXPECT_EQ(status_, 1U) << type;
        EXPECT_EQ(bytes.size(), 20U + 16U + 8U) << type;
        EXPECT_TRUE(same(model::words({4, 0, 1, 2, 0, 2, 0, 1, 0, type}), bytes.substr(0, 40)));
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "####ERROR: parameter type error."}}));
    }
}

TEST_F(RecordCondition, ParametersAfterAWrongOneAreNotWritten) {
    EXPECT_EQ(encode(samples::call("f", {samples::wrongType(1), samples::integer(1)})).size(), 28U);
}

TEST_F(RecordCondition, AFailureInARuleIsLoggedByItsCallersInTurn) {
    rule_.vecExpr = {samples::constant(1), samples::call("f", {samples::wrongType(9)}), samples::node(2)};
    rule_.vecDoFunc = {samples::action("f")};
    const std::string record = manager_.encode(rule_, samples::id(1), samples::id(2));
    EXPECT_EQ(manager_.status, 1U);
    // The operator, the constant and the refused call; no action.
    EXPECT_EQ(record.size(), 100U + 20U + 20U + 28U);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: parameter type error."},
                                 {1, "####ERROR: in func makeSinglePolicy, makeSingleExprPolicy error"}}));
}

TEST_F(RecordCondition, NodesStandInPrefixOrder) {
    rule_.vecExpr = {samples::constant(1), samples::constant(2), samples::constant(3), samples::node(3),
                     samples::node(2)};
    const std::string record = manager_.encode(rule_, samples::id(1), samples::id(2));
    EXPECT_TRUE(same(model::words({2, 0, 0, 0, 0, 11, 1, 0, 0, 0, 3, 0, 0, 0, 0, 11, 2, 0, 0, 0, 11, 3, 0, 0, 0}),
                     record.substr(100)));
}

}  // namespace
