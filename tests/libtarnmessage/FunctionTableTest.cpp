// The announced functions, where namespaces share a number.
#include "libtarnmessage/FunctionTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using tarnmessage::FunctionTable;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FunctionTableTest, KeepsAllNamesOfANumber) {
    FunctionTable table;
    table.add(7, {"twin", {"m:f"}});
    table.add(7, {"net", {"m:f"}});
    table.add(7, {"twin", {"m:f"}});
    EXPECT_THAT(table.names(7), ElementsAre("net", "twin"));
    EXPECT_THAT(table.names(8), IsEmpty());
    EXPECT_THAT(table.numbersOf("net"), ElementsAre(7U));
    EXPECT_THAT(table.numbersOf("twin"), ElementsAre(7U));
}

TEST(FunctionTableTest, FunctionHasANameWhereTheNamespacesAgree) {
    FunctionTable table;
    table.add(7, {"net", {"m:f", "m:g"}});
    table.add(7, {"twin", {"m:f", "m:other", "m:more"}});
    EXPECT_EQ(*table.findFunction(7, 1), "m:f");
    EXPECT_EQ(table.findFunction(7, 2), nullptr);
    EXPECT_EQ(*table.findFunction(7, 3), "m:more");
    EXPECT_EQ(table.functionCount(7), 3U);
    table.add(7, {"third", {"m:f", "m:g"}});
    EXPECT_EQ(table.findFunction(7, 2), nullptr) << "the second namespace still disagrees";
}

TEST(FunctionTableTest, TablesAreEqualWhereTheySayTheSame) {
    FunctionTable left;
    left.add(7, {"net", {"m:f"}});
    FunctionTable right;
    EXPECT_FALSE(left == right);
    right.add(7, {"net", {"m:f"}});
    EXPECT_TRUE(left == right);
    right.add(7, {"net", {"m:g"}});
    EXPECT_FALSE(left == right);
}

}  // namespace
