#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"
#include "support/Model.h"

namespace {

using testlog::Line;

const Line kNotLine{1, "####ERROR: in func postToPreFix, stack empty for EXPR_TYPE_NOT"};
const Line kBinaryLine{1, "####ERROR: in func postToPreFix, stack has less than 2 elements for binary operator"};

// Letters are operands that can be told apart, "!" is NOT, digits are the binary operators with that code ("0" for 10).
std::vector<ExprNode> parse(const std::string& text) {
    std::vector<ExprNode> nodes;
    for (const char character : text) {
        if (character == '!') {
            nodes.push_back(samples::node(1));
        } else if (character == '0') {
            nodes.push_back(samples::node(10));
        } else if (character >= '2' && character <= '9' && character != '4') {
            nodes.push_back(samples::node(static_cast<unsigned int>(character - '0')));
        } else {
            nodes.push_back(samples::constant(static_cast<unsigned char>(character)));
        }
    }
    return nodes;
}

std::string print(const std::vector<ExprNode>& nodes) {
    std::string text;
    for (const ExprNode& node : nodes) {
        if (node.uiExprType == 11) {
            text += static_cast<char>(node.uiValue);
        } else {
            text += node.uiExprType == 1 ? '!' : static_cast<char>('0' + node.uiExprType % 10);
        }
    }
    return text;
}

std::string convert(const std::string& postfix, int expectedStatus = 0) {
    std::vector<ExprNode> prefix = parse("left over");
    EXPECT_EQ(postToPreFix(parse(postfix), prefix), expectedStatus) << postfix;
    return print(prefix);
}

TEST(ExpressionConversion, NothingGivesNothing) {
    EXPECT_EQ(convert(""), "");
}
TEST(ExpressionConversion, AnOperandStaysAsItIs) {
    EXPECT_EQ(convert("a"), "a");
}
TEST(ExpressionConversion, ABinaryOperatorGoesInFrontOfItsOperandsInTheirOrder) {
    EXPECT_EQ(convert("ab2"), "2ab");
}
TEST(ExpressionConversion, NotGoesInFrontOfTheWholeExpressionBeforeIt) {
    EXPECT_EQ(convert("ab2!"), "!2ab");
}
TEST(ExpressionConversion, NotOfAnOperandGoesInFrontOfThatOperandOnly) {
    EXPECT_EQ(convert("ab!2"), "2a!b");
}
TEST(ExpressionConversion, NestedExpressionsStayWhole) {
    EXPECT_EQ(convert("abc32"), "2a3bc");
}
TEST(ExpressionConversion, LeftNestingStaysLeft) {
    EXPECT_EQ(convert("ab2c3"), "32abc");
}
TEST(ExpressionConversion, SurplusOperandsAreKeptTheLastOneFirst) {
    EXPECT_EQ(convert("ab"), "ba");
}
TEST(ExpressionConversion, SurplusExpressionsAreKeptWholeTheLastOneFirst) {
    EXPECT_EQ(convert("ab2cd3e!"), "!e3cd2ab");
}

TEST(ExpressionConversion, AllEightBinaryOperatorsAreHandledAlike) {
    for (const char code : std::string("23567890")) {
        EXPECT_EQ(convert(std::string("ab") + code), std::string(1, code) + "ab");
    }
}

TEST(ExpressionConversion, EveryCodeThatIsNoOperatorIsAnOperand) {
    for (const unsigned int code : {0U, 4U, 11U, 12U, 13U, 100U, 0xFFFFFFFFU}) {
        std::vector<ExprNode> prefix;
        EXPECT_EQ(postToPreFix({samples::node(code), samples::node(1)}, prefix), 0) << code;
        ASSERT_EQ(prefix.size(), 2U) << code;
        EXPECT_EQ(prefix[0].uiExprType, 1U);
        EXPECT_EQ(prefix[1].uiExprType, code);
    }
}

TEST(ExpressionConversion, NotWithoutOperandIsRefused) {
    EXPECT_EQ(convert("!", 1), "");
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kNotLine});
}

TEST(ExpressionConversion, ABinaryOperatorWithoutOperandsIsRefused) {
    EXPECT_EQ(convert("2", 1), "");
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kBinaryLine});
}

TEST(ExpressionConversion, ABinaryOperatorWithOneOperandIsRefused) {
    EXPECT_EQ(convert("a2", 1), "");
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kBinaryLine});
}

TEST(ExpressionConversion, AFailureAfterCompleteExpressionsLeavesTheOutputEmpty) {
    EXPECT_EQ(convert("ab232", 1), "");
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kBinaryLine});
}

TEST(ExpressionConversion, StopsAtTheFirstMistake) {
    EXPECT_EQ(convert("2!", 1), "");
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kBinaryLine});
}

TEST(ExpressionConversion, LogsNothingOnSuccess) {
    convert("abc32!d");
    EXPECT_TRUE(testlog::lines().empty());
}

TEST(ExpressionConversion, CopiesEveryFieldOfANode) {
    ExprNode call = samples::call("check", {samples::integer(-5), samples::string("ab")});
    call.uiValue = 77;
    call.strVarName = "variable";
    std::vector<ExprNode> prefix;
    ASSERT_EQ(postToPreFix({samples::constant(1), call, samples::node(5)}, prefix), 0);
    ASSERT_EQ(prefix.size(), 3U);
    const ExprNode& copy = prefix[2];
    EXPECT_EQ(copy.uiExprType, 4U);
    EXPECT_EQ(copy.strFuncName, "check");
    EXPECT_EQ(copy.uiValue, 77U);
    EXPECT_EQ(copy.strVarName, "variable");
    ASSERT_EQ(copy.vecParam.size(), 2U);
    EXPECT_EQ(copy.vecParam[0].uiParamType, 2U);
    EXPECT_EQ(copy.vecParam[0].iData, -5);
    EXPECT_EQ(copy.vecParam[1].uiParamType, 3U);
    EXPECT_EQ(copy.vecParam[1].strData, "ab");
}

TEST(ExpressionConversion, KeepsTheFieldsOfOperators) {
    ExprNode plain(2, "name", 8);
    plain.vecParam = {samples::integer(1)};
    ExprNode negation(1, "not", 9);
    std::vector<ExprNode> prefix;
    ASSERT_EQ(postToPreFix({samples::constant(1), samples::constant(2), plain, negation}, prefix), 0);
    EXPECT_EQ(prefix[0].strFuncName, "not");
    EXPECT_EQ(prefix[0].uiValue, 9U);
    EXPECT_EQ(prefix[1].strFuncName, "name");
    EXPECT_EQ(prefix[1].uiValue, 8U);
    EXPECT_EQ(prefix[1].vecParam.size(), 1U);
}

TEST(ExpressionConversion, LongChainsConvert) {
    std::string postfix = "a";
    std::string operators;
    for (int level = 0; level < 2000; ++level) {
        postfix += "b2";
        operators += "2";
    }
    EXPECT_EQ(convert(postfix), operators + "a" + std::string(2000, 'b'));
    EXPECT_EQ(convert("a" + std::string(2000, '!')), std::string(2000, '!') + "a");
}

// Every sequence of up to seven operands, NOTs and binary operators, against the recursive way.
TEST(ExpressionConversion, AllSmallSequencesMatchTheRecursiveModel) {
    constexpr std::array<char, 3> kKinds{'a', '!', '2'};
    std::size_t compared = 0;
    std::size_t refused = 0;
    for (std::size_t length = 0; length <= 7; ++length) {
        std::vector<std::size_t> digits(length, 0);
        for (bool more = true; more;) {
            std::string postfix;
            for (std::size_t place = 0; place < length; ++place) {
                const char kind = kKinds.at(digits[place]);
                postfix += kind == 'a' ? static_cast<char>('a' + place) : kind;
            }
            const model::Conversion expected = model::toPrefix(parse(postfix));
            const bool converts = expected.outcome == model::Conversion::Outcome::kConverted;
            testlog::clear();
            ASSERT_EQ(convert(postfix, converts ? 0 : 1), print(expected.prefix)) << postfix;
            std::vector<Line> lines;
            if (expected.outcome == model::Conversion::Outcome::kNotLacksOperand) {
                lines = {kNotLine};
            } else if (expected.outcome == model::Conversion::Outcome::kBinaryLacksOperands) {
                lines = {kBinaryLine};
            }
            ASSERT_EQ(testlog::lines(), lines) << postfix;
            ++compared;
            refused += converts ? 0 : 1;
            // The next sequence of this length.
            more = false;
            for (std::size_t place = 0; place < length && !more; ++place) {
                digits[place] = (digits[place] + 1) % kKinds.size();
                more = digits[place] != 0;
            }
        }
    }
    EXPECT_EQ(compared, 3280U);
    EXPECT_GT(refused, 1000U);
    EXPECT_LT(refused, 3000U);
}

}  // namespace
