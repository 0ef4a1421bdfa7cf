// Which names a section's files can have, as a table.
#include <gtest/gtest.h>

#include "SectionFiles.h"

namespace {

TEST(SectionNames, FilesOfTheSectionEndInSliceTagAndNumber) {
    const policydoc::MessageGroup section{"a", "b"};
    for (const char* name : {"base_0_a_b_0", "k_12_a_b_345", "base_a_b_0_a_b_0", "a_b_0_a_b_0", "_0_a_b_0"}) {
        EXPECT_TRUE(endsAsSectionFile(section, name)) << name;
    }
    for (const char* name : {"base_0_x_a_b_0", "base_x_a_b_0", "base_0_a_b_x", "base_0_a_b_", "base_0_a_bc_0",
                             "base_0_a_b_0_c", "_a_b_0", "0_a_b_0", "k_a_b_z_0_n_g_0", "base0_a_b_0", ""}) {
        EXPECT_FALSE(endsAsSectionFile(section, name)) << name;
    }
}

TEST(SectionNames, ATagOfDigitsIsFoundAtTheEnd) {
    EXPECT_TRUE(endsAsSectionFile({"0", "0"}, "k_0_0_0_0"));
    EXPECT_TRUE(endsAsSectionFile({"a", ""}, "k_0_a__0"));
}

TEST(SectionNames, FilesOfAKeyBeginWithIt) {
    const policydoc::RuleOrigin origin{"k_1", {"n", "g"}};
    for (const char* name : {"k_1_0_n_g_0", "k_1.7_3_n_g_12", "k_1_n_g_0_n_g_0", "k_1.2_n_g_0_n_g_0"}) {
        EXPECT_TRUE(canHaveName(origin, name)) << name;
    }
    for (const char* name : {"k_0_n_g_0", "k_1_0_n_gg_0", "k_1_0_n_g_", "k_1_0_n_g_0x", "k_1_x_n_g_0", "k_1.x_0_n_g_0",
                             "k_1._0_n_g_0", "k_1"}) {
        EXPECT_FALSE(canHaveName(origin, name)) << name;
    }
}

}  // namespace
