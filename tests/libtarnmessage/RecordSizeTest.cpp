// Sizes computed from rules are those of the golden records that the rules give.
#include "libtarnmessage/RecordSize.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MessageTools.h"

using namespace tarnmessage;

namespace {

constexpr unsigned int kInteger = 2;
constexpr unsigned int kString = 3;

FuncParam integerParam(std::int64_t value) {
    return {value, "", kInteger};
}
FuncParam stringParam(const std::string& text) {
    return {0, text, kString};
}

ExprNode call(std::vector<FuncParam> params) {
    ExprNode node(4, "check", 0);
    node.vecParam = std::move(params);
    return node;
}

ExprNode variable(const std::string& name) {
    ExprNode node(12, "", 1);
    node.strVarName = name;
    return node;
}

PolicyNode ruleInNet() {
    PolicyNode rule;
    rule.strNamespace = "net";
    return rule;
}

// The records of a golden message with one record: all but the frame.
std::uint64_t goldenRecord(const char* name) {
    return golden::message(name).size() - kMessageFrameSize;
}

}  // namespace

TEST(RecordSize, PlainRuleTakes100Bytes) {
    EXPECT_EQ(encodedRecordSize(ruleInNet()), 100U);
    EXPECT_EQ(encodedRecordSize(ruleInNet()), goldenRecord("policy-plain"));
}

TEST(RecordSize, ConditionIsCountedWithVariableNameAndParameters) {
    PolicyNode rule = ruleInNet();
    rule.vecExpr = {call({integerParam(7), stringParam("ab")}), variable("usb_block"), ExprNode(1, "", 0),
                    ExprNode(2, "", 0)};
    EXPECT_EQ(encodedRecordSize(rule), goldenRecord("policy-condition"));
}

TEST(RecordSize, ActionsAreCountedWithTheirParameters) {
    PolicyNode rule = ruleInNet();
    rule.vecDoFunc = {{"log", {stringParam("denied"), integerParam(2)}}, {"check", {}}};
    EXPECT_EQ(encodedRecordSize(rule), goldenRecord("policy-actions"));
}

TEST(RecordSize, OneRecordForEachPair) {
    PolicyNode rule = ruleInNet();
    rule.vecSubjectId.resize(3);
    EXPECT_EQ(recordsOfRule(rule), 0U);
    rule.vecObjectId.resize(2);
    EXPECT_EQ(recordsOfRule(rule), 6U);
    rule.vecExpr = {ExprNode(11, "", 1)};
    rule.vecDoFunc = {{"log", {}}};
    EXPECT_EQ(2 * encodedRecordSize(rule), goldenRecord("policy-pairs"));
}

TEST(RecordSize, OnlyVariablesCarryAName) {
    ExprNode node = variable("v");
    EXPECT_EQ(encodedExprSize(node, "ns"), 24U);
    node.uiExprType = 11;
    EXPECT_EQ(encodedExprSize(node, "ns"), 20U);
}

TEST(RecordSize, NamespaceBlocksFillTheNamespaceMessage) {
    const std::uint64_t net = encodedNamespaceSize("net", {"netmod:check", "netmod:log"});
    EXPECT_EQ(net + kMessageFrameSize, 93U);
    EXPECT_EQ(net + encodedNamespaceSize("fs", {"fsmod:audit"}) + kMessageFrameSize,
              golden::message("namespace-two").size());
    EXPECT_EQ(encodedNamespaceSize("empty", {}), 0U);
}

TEST(RecordSize, RoomForRecordsIsTheMessageWithoutItsFrame) {
    EXPECT_EQ(kMessageRoom, 1048552U);
}
