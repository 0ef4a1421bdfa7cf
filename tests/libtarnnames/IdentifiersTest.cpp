// Identifiers as text, and their names in a label table.
#include "libtarnnames/Identifiers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Files.h"

using tarnnames::identifierOf;
using tarnnames::Identifiers;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char kTable[] = "/etc/tarn/labels.json";

}  // namespace

TEST(Identifiers, AreReadFromThreeWords) {
    const auto identifier = identifierOf("0x11:18:0XfF");
    ASSERT_TRUE(identifier);
    EXPECT_THAT(identifier->uiWord, ElementsAre(0x11U, 18U, 255U));
    EXPECT_EQ(identifierOf("18446744073709551615:0:0")->uiWord[0], 18446744073709551615U);
}

TEST(Identifiers, AreNothingElse) {
    for (const char* text : {"", ":", "::", "1:2", "1:2:", "1:2:3:", "1:2:3:4", "1:2:x", " 1:2:3", "1:2:3 ", "-1:2:3",
                             "0x:1:2", "18446744073709551616:0:0", "/usr/bin/a"}) {
        EXPECT_FALSE(identifierOf(text)) << text;
    }
}

TEST(Identifiers, HaveTheNamesOfTheTable) {
    testfiles::write(kTable, R"({"format": "tarn-labels", "version": 1,
        "labels": {"subject_file": {"/usr/bin/a": [[1, 2, 3], [4, 5, 6]]}, "object_file": {"/srv/x": [[1, 2, 3]]}},
        "devices": {"/dev/sda": [7, 0, 0]}, "modules": {"ext4": [8, 0, 0]}})");
    Identifiers identifiers;
    std::string problem;
    ASSERT_TRUE(identifiers.read(kTable, problem)) << problem;
    EXPECT_THAT(identifiers.names({1, 2, 3}), ElementsAre("object_file /srv/x", "subject_file /usr/bin/a"));
    EXPECT_THAT(identifiers.names({4, 5, 6}), ElementsAre("subject_file /usr/bin/a"));
    EXPECT_THAT(identifiers.names({7, 0, 0}), ElementsAre("device /dev/sda"));
    EXPECT_THAT(identifiers.names({8, 0, 0}), ElementsAre("module ext4"));
    EXPECT_THAT(identifiers.names({9, 0, 0}), IsEmpty());
    EXPECT_EQ(identifiers.identifiers("/usr/bin/a").size(), 2U);
    EXPECT_THAT(identifiers.identifiers("/usr/bin/b"), IsEmpty());
}

TEST(Identifiers, OfAnUnsoundTableAreRefused) {
    Identifiers identifiers;
    std::string problem;
    EXPECT_FALSE(identifiers.read(kTable, problem));
    EXPECT_THAT(problem, HasSubstr(kTable));
    EXPECT_TRUE(identifiers.empty());
}
