// What is kept of the names of rules, whatever numbers a set makes up.
#include "libtarnrules/RuleNames.h"

#include <gtest/gtest.h>

using tarnrules::RuleNames;

namespace {

struct RuleNamesTest : testing::Test {
    tarnmessage::FunctionTable announced;
    tarnnames::NameBook book;
    RuleNames names{book, announced};
};

}  // namespace

TEST_F(RuleNamesTest, FormsAreBoundedAndStayRight) {
    const std::string first = names.namespaceForm(0);
    for (std::uint32_t number = 0; number < 3 * RuleNames::kMostForms; ++number) {
        static_cast<void>(names.namespaceForm(number));
        ASSERT_LE(names.keptForms(), RuleNames::kMostForms);
    }
    EXPECT_EQ(names.namespaceForm(0), first);
}

TEST_F(RuleNamesTest, NumbersWithoutANameAreBounded) {
    for (std::uint32_t number = 0; number < RuleNames::kMostNameless; ++number) {
        static_cast<void>(names.namespaceForm(number));
        static_cast<void>(names.functionName(number, 1));
    }
    EXPECT_FALSE(names.hasMoreNameless());
    static_cast<void>(names.functionName(0, 1));
    EXPECT_FALSE(names.hasMoreNameless()) << "it is among them";
    static_cast<void>(names.functionName(0, 2));
    EXPECT_TRUE(names.hasMoreNameless());
    static_cast<void>(names.namespaceForm(RuleNames::kMostNameless));
    EXPECT_EQ(names.namelessNamespaces().size(), RuleNames::kMostNameless);
    EXPECT_EQ(names.namelessFunctions().size(), RuleNames::kMostNameless);
}

TEST_F(RuleNamesTest, MoreNamespacesWithoutANameAreSeen) {
    for (std::uint32_t number = 0; number <= RuleNames::kMostNameless; ++number) {
        EXPECT_FALSE(names.hasMoreNameless());
        static_cast<void>(names.namespaceForm(number));
    }
    EXPECT_TRUE(names.hasMoreNameless());
}
