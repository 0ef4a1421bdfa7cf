// The records of actions.
#include <gtest/gtest.h>

#include <string>

#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"

namespace {

using testbytes::same;
using testlog::Line;

class RecordAction : public testing::Test {
protected:
    std::string encode(const DoFuncNode& action) {
        OutputBuffer buffer;
        status_ = manager_.makeSingleDoFuncPolicy(rule_, action, buffer.cursor, buffer.used);
        EXPECT_TRUE(buffer.consistent());
        return buffer.appended();
    }

    CompilerManager manager_{samples::numbers()};
    PolicyNode rule_ = samples::rule();
    unsigned int status_ = 99;
};

TEST_F(RecordAction, IsACallWithoutValueAndName) {
    EXPECT_TRUE(same(model::words({4, 0, 2, 0, 0}), encode(samples::action("g"))));
    EXPECT_EQ(status_, 0U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(RecordAction, CarriesItsParametersInOrder) {
    EXPECT_TRUE(same(model::words({4, 0, 1, 2, 0, 3, 2}) + "ab" + model::words({2, 0, 0xFFFFFFFE, 0xFFFFFFFF}),
                     encode(samples::action("f", {samples::string("ab"), samples::integer(-2)}))));
    EXPECT_EQ(status_, 0U);
}

TEST_F(RecordAction, OfAnUnknownFunctionIsRefusedBeforeAnythingIsAppended) {
    EXPECT_EQ(encode(samples::action("nosuch")), "");
    EXPECT_EQ(status_, 1U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "####ERROR: in func getFuncId, no module mod function nosuch."},
                                                   {1, "####ERROR: in makeSingleDoFuncPolicy, getFuncId error."}}));
}

TEST_F(RecordAction, WithAWrongParameterTypeIsRefusedAfterItsInformationBlock) {
    for (const unsigned int type : {0U, 1U, 4U, 0xFFFFFFFFU}) {
        testlog::clear();
        const std::string bytes = encode(samples::action("f", {samples::wrongType(type), samples::integer(1)}));
        EXPECT_EQ(status_, 1U) << type;
        EXPECT_EQ(bytes.size(), 28U) << type;
        EXPECT_TRUE(same(model::words({4, 0, 1, 2, 0, type}), bytes.substr(0, 24)));
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "####ERROR: 参数类型错误."}}));
    }
}

TEST_F(RecordAction, FollowTheConditionInTheOrderOfTheRule) {
    rule_.vecExpr = {samples::constant(7)};
    rule_.vecDoFunc = {samples::action("g"), samples::action("f", {samples::integer(1)}), samples::action("g")};
    const std::string record = manager_.encode(rule_, samples::id(1), samples::id(2));
    EXPECT_EQ(manager_.status, 0U);
    EXPECT_TRUE(same(model::words({11, 7, 0, 0, 0}) + model::words({4, 0, 2, 0, 0}) +
                         model::words({4, 0, 1, 1, 0, 2, 0, 1, 0}) + model::words({4, 0, 2, 0, 0}),
                     record.substr(100)));
}

TEST_F(RecordAction, AFailureInARuleIsLoggedByItsCallersInTurn) {
    rule_.vecDoFunc = {samples::action("f"), samples::action("nosuch"), samples::action("g")};
    const std::string record = manager_.encode(rule_, samples::id(1), samples::id(2));
    EXPECT_EQ(manager_.status, 1U);
    EXPECT_EQ(record.size(), 100U + 20U) << "the first action stays, the third is never reached";
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: in func getFuncId, no module mod function nosuch."},
                                 {1, "####ERROR: in makeSingleDoFuncPolicy, getFuncId error."},
                                 {1, "####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy error"}}));
}

}  // namespace
