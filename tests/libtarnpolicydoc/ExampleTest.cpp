// The example that newcomers run: it must pass its own checks without a finding and show every sort of condition.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Load.h"
#include "libtarnpolicydoc/Plan.h"
#include "libtarnpolicydoc/Rules.h"

namespace {

using namespace policydoc;

std::string example(const std::string& name) {
    return std::string(TARN_EXAMPLES_DIR) + "/" + name;
}

class ExampleTest : public testing::Test {
protected:
    void SetUp() override {
        document_ = load(example("policy.json"), diagnostics_);
        classes_ = readClasses(example("class-def.conf"), diagnostics_);
        labels_ = readLabelTable(example("labels.json"), diagnostics_);
        ASSERT_TRUE(document_ && classes_ && labels_) << toText(diagnostics_);
    }

    Diagnostics diagnostics_;
    std::optional<PolicyDocument> document_;
    std::optional<Json::Value> classes_;
    std::optional<Labels> labels_;
};

TEST_F(ExampleTest, HasNoFindings) {
    CheckContext context;
    context.classes = &*classes_;
    context.labels = &*labels_;
    context.threads = 8;
    EXPECT_TRUE(check(*document_, context, diagnostics_));
    EXPECT_EQ(diagnostics_.all().size(), 0U) << toText(diagnostics_);
}

TEST_F(ExampleTest, GivesARecordForEveryRule) {
    const auto plan = makePlan(*document_, *labels_, {}, diagnostics_);
    ASSERT_TRUE(plan) << toText(diagnostics_);
    EXPECT_GT(plan->rules.size(), 200U);
    EXPECT_TRUE(plan->withoutRecords.empty());
    EXPECT_EQ(plan->keys.size(), document_->groups.size());
}

TEST_F(ExampleTest, ShowsEveryExpressionBothParametersAndActions) {
    std::set<unsigned int> types;
    std::set<unsigned int> params;
    std::set<std::string> classes;
    std::size_t actions = 0;
    ASSERT_TRUE(forEachRule(*document_, true, diagnostics_, [&](const LocatedRule& located) {
        classes.insert(located.rule.sPermClass);
        actions += located.rule.vecDoFunc.size();
        for (const ExprNode& node : located.rule.vecExpr) {
            types.insert(node.uiExprType);
            for (const FuncParam& param : node.vecParam) {
                params.insert(param.uiParamType);
            }
        }
        return true;
    }));
    EXPECT_EQ(types, (std::set<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ(params, (std::set<unsigned int>{2, 3}));
    EXPECT_GT(actions, 50U);
    for (const char* permClass : {"file", "dir", "lnkfile", "process", "kmod", "usb", "capability", "socket"}) {
        EXPECT_EQ(classes.count(permClass), 1U) << permClass;
    }
}

}  // namespace
