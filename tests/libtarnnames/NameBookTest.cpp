// All names of a set together: which source goes before which.
#include "libtarnnames/NameBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common/Common.h"
#include "support/Files.h"

using tarnmessage::FunctionTable;
using tarnnames::groupsOf;
using tarnnames::NameBook;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char kSet[] = "/etc/tarn/policydata";

struct NameBookTest : testing::Test {
    void SetUp() override { testfiles::makeDirectories(kSet); }
    void read() { book.readSideFiles(kSet, "", problems); }
    std::vector<tarnnames::FileNameReading> readings(const std::string& fileName, std::uint32_t number) const {
        tarnnames::FileNameWords words(fileName);
        return book.readings(words, number);
    }

    NameBook book;
    std::vector<std::string> problems;
};

}  // namespace

TEST_F(NameBookTest, KnowsNothingWithoutSideFilesAndSaysNothing) {
    read();
    EXPECT_THAT(problems, IsEmpty());
    EXPECT_THAT(book.namespaceNames(7), IsEmpty());
    EXPECT_THAT(book.namespaceNumbers("net"), ElementsAre(4075427327U));
    EXPECT_THAT(groupsOf(readings("base_0_net_g_0", 4075427327U)), ElementsAre("g"));
}

TEST_F(NameBookTest, SceneInfoNamesNumbers) {
    testfiles::write("/etc/tarn/scene_info", "7:net\n");
    read();
    EXPECT_THAT(book.namespaceNames(7), ElementsAre("net"));
    EXPECT_THAT(book.namespaceNumbers("net"), ElementsAre(7U));
    EXPECT_THAT(groupsOf(readings("base_0_net_g_0", 7)), ElementsAre("g"));
    EXPECT_THAT(readings("base_0_net_g_0", stringToId("net")).size(), 1U) << "a set from before the pin";
}

TEST_F(NameBookTest, FuncInfoNamesFunctionsUnderThePinnedNumber) {
    testfiles::write("/etc/tarn/scene_info", "7:net\n");
    testfiles::write("/etc/tarn/funcinfo", "net#m:f,m:g\nfs#m:h\n");
    read();
    EXPECT_EQ(*book.functionsOf(7).findFunction(7, 2), "m:g");
    const std::uint32_t fs = stringToId("fs");
    EXPECT_EQ(*book.functionsOf(fs).findFunction(fs, 1), "m:h");
    EXPECT_EQ(book.functionsOf(fs).findFunction(fs, 2), nullptr);
}

TEST_F(NameBookTest, NamespaceMessageGoesBeforeFuncInfo) {
    testfiles::write("/etc/tarn/scene_info", "7:net\n7:twin\n");
    testfiles::write("/etc/tarn/funcinfo", "net#m:old\n");
    read();
    FunctionTable announced;
    announced.add(7, {"net", {"m:new"}});
    announced.add(9, {"extra", {"m:f"}});
    book.attach(&announced);
    EXPECT_EQ(*book.functionsOf(7).findFunction(7, 1), "m:new");
    EXPECT_THAT(book.namespaceNames(7), ElementsAre("net", "twin"));
    EXPECT_THAT(book.namespaceNames(9), ElementsAre("extra"));
    EXPECT_THAT(book.namespaceNumbers("extra"), ElementsAre(9U));
}

TEST_F(NameBookTest, ProblemsNameTheirFile) {
    testfiles::makeDirectories("/etc/tarn/scene_info");
    testfiles::write("/etc/tarn/funcinfo", "bad\n");
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", "{");
    read();
    EXPECT_THAT(problems,
                ElementsAre("/etc/tarn/scene_info: can't be read: Invalid argument",
                            HasSubstr("/etc/tarn/funcinfo: line 1 is skipped"),
                            HasSubstr("/etc/tarn/tarn-main/class-def.conf: the class definitions are unsound")));
}

TEST_F(NameBookTest, ClassesComeFromTheirFile) {
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", R"({"file": {"value": 1, "perms": {"read": 4}}})");
    read();
    EXPECT_THAT(book.classes().permissionNames(1, 4), ElementsAre("read"));
}

// More names than are tried one by one.
TEST_F(NameBookTest, FileNamesAreReadAlikeForManyNames) {
    std::string scenes = "7:a_b\n7:a\n";
    for (int index = 0; index < 1000; ++index) {
        scenes += "7:n" + std::to_string(index) + "\n";
    }
    testfiles::write("/etc/tarn/scene_info", scenes);
    testfiles::write("/etc/tarn/funcinfo", "n999#m:f\n");
    read();
    for (const std::string fileName : {"base_0_a_b_g_0", "base_0_n999_n5_0_a_g_3", "n_0_n1000_g_0", "beginmsg", ""}) {
        const auto groups = groupsOf(tarnnames::readFileName(fileName, book.namespaceNames(7)));
        EXPECT_EQ(groupsOf(readings(fileName, 7)), groups) << fileName;
    }
    EXPECT_THAT(groupsOf(readings("base_0_n998_g_0", 7)), ElementsAre("g"));
    EXPECT_THAT(groupsOf(readings("base_0_a_b_g_0", 7)), ElementsAre("b_g", "g"));
    EXPECT_TRUE(book.isNamespaceName(7, "n998"));
    EXPECT_FALSE(book.isNamespaceName(7, "n1000"));
    EXPECT_THAT(readings("base_0_n1000_g_0", 7), IsEmpty());
}
