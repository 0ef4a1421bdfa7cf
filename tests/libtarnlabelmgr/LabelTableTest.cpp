#include "libtarnlabelmgr/LabelTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ostream>

#include "support/Files.h"

namespace {

using labeltable::Table;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kHead[] = R"("format": "tarn-labels", "version": 1)";

std::string tableWith(const std::string& rest) {
    return std::string("{") + kHead + ", " + rest + "}";
}

std::string devicesWith(const std::string& identifier) {
    return tableWith(R"("devices": {"d": )" + identifier + "}");
}

Table parsed(const std::string& text) {
    Table table;
    std::string problem;
    EXPECT_EQ(labeltable::parse(text, table, problem), labeltable::kOk) << problem;
    return table;
}

std::vector<std::uint64_t> words(const TARN_ID& id) {
    return {id.uiWord[0], id.uiWord[1], id.uiWord[2]};
}

TEST(LabelTable, MayBeEmpty) {
    const Table table = parsed(tableWith(R"("comment": "nothing yet")"));
    EXPECT_TRUE(table.kinds.empty());
    EXPECT_TRUE(table.devices.empty());
    EXPECT_TRUE(table.modules.empty());
}

TEST(LabelTable, KeepsKindsNamesAndTheOrderOfIdentifiers) {
    const Table table = parsed(tableWith(R"("labels": {"subject_file": {"/a": [[1,2,3],[4,5,6]], "/b": []},
                                                       "object_pkg": {"/a": [[7,8,9]]}})"));
    ASSERT_EQ(table.kinds.size(), 2U);
    const auto& files = table.kinds.at("subject_file");
    ASSERT_EQ(files.at("/a").size(), 2U);
    EXPECT_THAT(words(files.at("/a")[0]), ElementsAre(1, 2, 3));
    EXPECT_THAT(words(files.at("/a")[1]), ElementsAre(4, 5, 6));
    EXPECT_TRUE(files.at("/b").empty());
    EXPECT_THAT(words(table.kinds.at("object_pkg").at("/a")[0]), ElementsAre(7, 8, 9));
}

TEST(LabelTable, KeepsDevicesAndModulesApart) {
    const Table table = parsed(tableWith(R"("devices": {"x": [1,2,3]}, "modules": {"x": [4,5,6]})"));
    EXPECT_THAT(words(table.devices.at("x")), ElementsAre(1, 2, 3));
    EXPECT_THAT(words(table.modules.at("x")), ElementsAre(4, 5, 6));
}

TEST(LabelTable, ReadsWordsAsNumbersDecimalTextAndHexText) {
    const Table table = parsed(devicesWith(R"([18446744073709551615, "18446744073709551614", "0xFFFFFFFFFFFFFFFd"])"));
    EXPECT_THAT(words(table.devices.at("d")),
                ElementsAre(0xFFFFFFFFFFFFFFFFULL, 0xFFFFFFFFFFFFFFFEULL, 0xFFFFFFFFFFFFFFFDULL));
}

TEST(LabelTable, TakesAnyByteOfUtf8InNames) {
    const Table table = parsed(tableWith("\"labels\": {\"subject_file\": {\"/数据/a b\\n\": [[1,2,3]]}}"));
    EXPECT_EQ(table.kinds.at("subject_file").count("/数据/a b\n"), 1U);
}

struct Refusal {
    const char* name;
    std::string text;
    int status;
    const char* message;
};
void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class LabelTableRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(LabelTableRefuses, WithStatusAndPlace) {
    Table table;
    table.devices["kept"] = TARN_ID{{1, 2, 3}};
    std::string problem;
    EXPECT_EQ(labeltable::parse(GetParam().text, table, problem), GetParam().status);
    EXPECT_THAT(problem, HasSubstr(GetParam().message));
    EXPECT_EQ(table.devices.count("kept"), 1U) << "a refused text must leave the table as it was";
}

constexpr char kWordWanted[] = "expected an unsigned 64-bit number";

const Refusal kRefusals[] = {
    {"EmptyText", "", labeltable::kNoJson, "Line 1"},
    {"Truncated", R"({"format": "tarn-labels",)", labeltable::kNoJson, "Line 1, Column 26"},
    {"SyntaxOnLineTwo", "{\"format\": \"tarn-labels\",\n \"version\": 1,, }", labeltable::kNoJson, "Line 2, Column 15"},
    {"TextAfterTheEnd", tableWith(R"("devices": {})") + " x", labeltable::kNoJson, "Extra non-whitespace"},
    {"MemberTwice", tableWith(R"("devices": {"d": [1,2,3], "d": [1,2,4]})"), labeltable::kNoJson, "Duplicate key: 'd'"},
    {"CommentInJson", "// no\n" + tableWith(R"("devices": {})"), labeltable::kNoJson, "Line 1"},
    {"TooDeep", std::string(100000, '['), labeltable::kNoJson, "stackLimit"},
    {"RootIsNoObject", "[]", labeltable::kBadContent, "line 1, the whole: expected an object"},
    {"FormatMissing", R"({"version": 1})", labeltable::kOtherVersion, "\"format\" must be \"tarn-labels\""},
    {"FormatOther", R"({"format": "labels", "version": 1})", labeltable::kOtherVersion, "\"format\" must be"},
    {"FormatNoText", R"({"format": 1, "version": 1})", labeltable::kOtherVersion, "\"format\" must be"},
    {"VersionMissing", R"({"format": "tarn-labels"})", labeltable::kOtherVersion, "\"version\" must be 1"},
    {"VersionTwo", R"({"format": "tarn-labels", "version": 2})", labeltable::kOtherVersion, "\"version\" must be 1"},
    {"VersionReal", R"({"format": "tarn-labels", "version": 1.0})", labeltable::kOtherVersion, "\"version\" must be 1"},
    {"VersionText", R"({"format": "tarn-labels", "version": "1"})", labeltable::kOtherVersion, "\"version\" must be 1"},
    {"UnknownMember", tableWith(R"("device": {})"), labeltable::kBadContent, "line 1, /device: unknown member"},
    {"LabelsNoObject", tableWith(R"("labels": [])"), labeltable::kBadContent, "/labels: expected an object of kinds"},
    {"KindNoObject", tableWith(R"("labels": {"k": []})"), labeltable::kBadContent, "/labels/k: expected an object of"},
    {"NameNoArray", tableWith(R"("labels": {"k": {"/a~b": 1}})"), labeltable::kBadContent,
     "/labels/k/~1a~0b: expected an array of identifiers"},
    {"LabelNoIdentifier", tableWith("\"labels\": {\"k\": {\n\"a\": [\n[1,2,3],\n4]}}"), labeltable::kBadContent,
     "line 4, /labels/k/a/1: expected an identifier"},
    {"DevicesNoObject", tableWith(R"("devices": 1)"), labeltable::kBadContent, "/devices: expected an object of names"},
    {"ModulesNoObject", tableWith(R"("modules": null)"), labeltable::kBadContent, "/modules: expected an object"},
    {"TwoWords", devicesWith("[1,2]"), labeltable::kBadContent, "/devices/d: expected an identifier"},
    {"FourWords", devicesWith("[1,2,3,4]"), labeltable::kBadContent, "/devices/d: expected an identifier"},
    {"IdentifierAsObject", devicesWith("{}"), labeltable::kBadContent, "/devices/d: expected an identifier"},
    {"Negative", devicesWith("[1,-2,3]"), labeltable::kBadContent, "/devices/d/1: "},
    {"NegativeText", devicesWith(R"([1,"-2",3])"), labeltable::kBadContent, kWordWanted},
    {"PlusText", devicesWith(R"([1,"+2",3])"), labeltable::kBadContent, kWordWanted},
    {"Real", devicesWith("[1,2,3.0]"), labeltable::kBadContent, "/devices/d/2: "},
    {"Exponent", devicesWith("[1,2,3e2]"), labeltable::kBadContent, "/devices/d/2: "},
    {"TooLarge", devicesWith("[18446744073709551616,2,3]"), labeltable::kBadContent, "/devices/d/0: "},
    {"TooLargeText", devicesWith(R"(["18446744073709551616",2,3])"), labeltable::kBadContent, "/devices/d/0: "},
    {"TooLargeHex", devicesWith(R"(["0x10000000000000000",2,3])"), labeltable::kBadContent, "/devices/d/0: "},
    {"EmptyWord", devicesWith(R"(["",2,3])"), labeltable::kBadContent, kWordWanted},
    {"HexWithoutDigits", devicesWith(R"(["0x",2,3])"), labeltable::kBadContent, kWordWanted},
    {"HexWithoutPrefix", devicesWith(R"(["ff",2,3])"), labeltable::kBadContent, kWordWanted},
    {"BlankInWord", devicesWith(R"([" 1",2,3])"), labeltable::kBadContent, kWordWanted},
    {"TailInWord", devicesWith(R"(["1 ",2,3])"), labeltable::kBadContent, kWordWanted},
    {"TrueAsWord", devicesWith("[true,2,3]"), labeltable::kBadContent, kWordWanted},
    {"NullAsWord", devicesWith("[null,2,3]"), labeltable::kBadContent, kWordWanted},
};

INSTANTIATE_TEST_SUITE_P(Malformed, LabelTableRefuses, testing::ValuesIn(kRefusals),
                         [](const auto& refusal) { return std::string(refusal.param.name); });

int loadStatus(const std::string& path, std::string& problem) {
    Table table;
    return labeltable::load(path, table, problem);
}

TEST(LabelTableFile, IsReadFromAnyPath) {
    testfiles::write("/etc/tarn/other.json", devicesWith("[1,2,3]"));
    Table table;
    std::string problem;
    ASSERT_EQ(labeltable::load("/etc/tarn/other.json", table, problem), labeltable::kOk) << problem;
    EXPECT_EQ(table.devices.size(), 1U);
}

TEST(LabelTableFile, MissingIsUnreadable) {
    std::string problem;
    EXPECT_EQ(loadStatus("/etc/tarn/none.json", problem), labeltable::kUnreadable);
    EXPECT_EQ(problem, "/etc/tarn/none.json: No such file or directory");
}

TEST(LabelTableFile, DirectoryIsUnreadable) {
    std::string problem;
    EXPECT_EQ(loadStatus("/etc/tarn", problem), labeltable::kUnreadable);
    EXPECT_EQ(problem, "/etc/tarn: is not a regular file");
}

TEST(LabelTableFile, FifoIsUnreadableAndDoesNotHang) {
    ASSERT_EQ(mkfifo("/etc/tarn/labels.json", 0600), 0);
    std::string problem;
    EXPECT_EQ(loadStatus("/etc/tarn/labels.json", problem), labeltable::kUnreadable);
    EXPECT_THAT(problem, HasSubstr("is not a regular file"));
}

TEST(LabelTableFile, ReadsAFileWhoseSizeIsNotKnownBeforehand) {
    // Entries below /proc say that they hold 0 bytes.
    std::string text;
    std::string problem;
    ASSERT_EQ(labeltable::readText("/proc/self/cmdline", text, problem), labeltable::kOk) << problem;
    EXPECT_THAT(text, HasSubstr("label_table_test"));
}

TEST(LabelTable, RefusesTextBehindItsEnd) {
    for (const std::string& behind :
         {std::string("x"), std::string("{}"), std::string(1, '\0'), std::string("\0x", 2)}) {
        Table table;
        std::string problem;
        EXPECT_EQ(labeltable::parse(tableWith(R"("labels": {})") + "\n" + behind, table, problem), labeltable::kNoJson);
        EXPECT_THAT(problem, HasSubstr("ine 2")) << problem;
    }
}

}  // namespace
