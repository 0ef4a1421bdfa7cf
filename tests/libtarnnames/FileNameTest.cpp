// What file names say of key, namespace and group, and where they say it in more than one way.
#include "libtarnnames/FileName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"

using tarnnames::FileNameReading;
using tarnnames::FileNameWords;
using tarnnames::groupsOf;
using tarnnames::readFileName;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> groups(const std::string& name, const std::vector<std::string>& nameSpaces) {
    return groupsOf(readFileName(name, nameSpaces));
}

}  // namespace

TEST(FileName, IsCutAtTheNamespace) {
    const std::vector<FileNameReading> readings = readFileName("base_0_net_g_12", {"net"});
    ASSERT_EQ(readings.size(), 1U);
    EXPECT_EQ(readings[0].key, "base");
    EXPECT_EQ(readings[0].slice, "0");
    EXPECT_EQ(readings[0].nameSpace, "net");
    EXPECT_EQ(readings[0].group, "g");
    EXPECT_EQ(readings[0].index, "12");
}

TEST(FileName, GivesBackWhatTheCompilerPutIn) {
    for (const char* key : {"base", "a_b", "", "7", "x_1"}) {
        for (const char* nameSpace : {"net", "my_net", "n"}) {
            for (const char* group : {"g", "", "a_b", "_"}) {
                const std::string name =
                    paths::policyFileName(paths::slicePrefix(paths::keyStem(key), 3), nameSpace, group, 10);
                bool found = false;
                for (const FileNameReading& reading : readFileName(name, {nameSpace})) {
                    found = found || (reading.key == key && reading.slice == "3" && reading.group == group &&
                                      reading.index == "10");
                }
                EXPECT_TRUE(found) << name;
            }
        }
    }
}

TEST(FileName, OfASectionIsReadToo) {
    const std::string stem = "base" + paths::sectionTag("net", "g");
    EXPECT_THAT(groups(paths::policyFileName(paths::slicePrefix(stem, 0), "net", "g", 0), {"net"}), ElementsAre("g"));
}

TEST(FileName, WithTheNamespaceAtTwoPlacesHasTwoReadings) {
    EXPECT_THAT(groups("base_0_net_1_net_g_0", {"net"}), ElementsAre("1_net_g", "g"));
    EXPECT_THAT(groups("base_0_net_x_net_g_0", {"net"}), ElementsAre("x_net_g"))
        << "before the second there is no slice";
}

TEST(FileName, IsCutAtEachOfSeveralNames) {
    EXPECT_THAT(groups("base_0_a_b_g_0", {"a", "a_b"}), ElementsAre("b_g", "g"));
}

TEST(FileName, OfAnotherKindHasNoReading) {
    for (const char* name :
         {"", "beginmsg", "base", "base_0_net_g", "base_0_net_g_", "base_0_net_g_x", "base_x_net_g_0",
          "base_00_net_g_0", "base_0_net_g_00", "base_0_fs_g_0", "0_net_g_0", "_0_net", "base_net_g_0"}) {
        EXPECT_THAT(readFileName(name, {"net"}), IsEmpty()) << name;
    }
    EXPECT_THAT(readFileName("base_0_net_g_0", {}), IsEmpty());
}

TEST(FileName, NamespaceIsFoundByItsChecksumWhereNobodyNamesIt) {
    EXPECT_THAT(FileNameWords("base_0_net_g_0").withChecksum(stringToId("net")), ElementsAre("net"));
    EXPECT_THAT(FileNameWords("base_0_my_net_g_0").withChecksum(stringToId("my_net")), ElementsAre("my_net"));
    EXPECT_THAT(FileNameWords("base_0_net_g_0").withChecksum(7), IsEmpty());
}
