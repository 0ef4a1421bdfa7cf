// The file of dynamic variables, line by line.
#include "DeliverySet.h"

namespace {

using testlog::Line;
using Variables = ManagerAccess::DynamicVariables;

const Line kTruncated{1, "###INFO: /etc/tarn/dynamicinfo is truncated"};

Line invalid(const std::string& piece) {
    return {1, "###ERROR: invalid dynamic var value: " + piece};
}

struct Case {
    const char* name;
    std::string content;
    Variables expected;
    std::vector<Line> lines;
};

class DynamicVariableFile : public testing::TestWithParam<Case> {};

TEST_P(DynamicVariableFile, IsReadLineByLine) {
    ManagerAccess manager;
    testfiles::write(paths::kDynamicInfo, GetParam().content);
    Variables variables;
    EXPECT_EQ(manager.importDynamicVariableInfo("", variables, false), 0);
    EXPECT_EQ(variables, GetParam().expected);
    EXPECT_EQ(testlog::lines(), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, DynamicVariableFile,
    testing::Values(
        Case{"One", "net:usb:7\n", {{{"net", "usb"}, 7}}, {}},
        Case{"WithoutLineFeed", "net:usb:7", {{{"net", "usb"}, 7}}, {}},
        Case{"Several", "a:x:1\nb:x:2\na:y:3\n", {{{"a", "x"}, 1}, {{"a", "y"}, 3}, {{"b", "x"}, 2}}, {}},
        Case{"EmptyLines", "\n\na:x:1\n\n", {{{"a", "x"}, 1}}, {}},
        Case{"ALaterLineWins", "a:x:1\na:x:2\n", {{{"a", "x"}, 2}}, {}},
        Case{"DoubledColons", "a::b:1\n:c:::d:2:\n", {{{"a", "b"}, 1}, {{"c", "d"}, 2}}, {}},
        Case{"SurplusPieces", "a:x:1:2:three\n", {{{"a", "x"}, 1}}, {}},
        Case{"TwoPieces", "a:x\nb:y:1\n", {{{"b", "y"}, 1}}, {kTruncated}},
        Case{"OnePiece", "a\n:\nb:y:1\n", {{{"b", "y"}, 1}}, {kTruncated, kTruncated}},
        Case{"AnEmptyPieceInTheMiddleLeavesTwo", "a::1\n", {}, {kTruncated}},
        Case{"NotANumber", "a:x:abc\nb:y:1\n", {{{"b", "y"}, 1}}, {invalid("abc")}},
        Case{"Blank", "a:x: \n", {}, {invalid(" ")}}, Case{"SignAlone", "a:x:-\n", {}, {invalid("-")}},
        Case{"TooLarge", "a:x:2147483648\nb:y:2147483647\n", {{{"b", "y"}, 2147483647}}, {invalid("2147483648")}},
        Case{"TooSmall", "a:x:-2147483649\nb:y:-2147483648\n", {{{"b", "y"}, 2147483648U}}, {invalid("-2147483649")}},
        Case{"MinusOne", "a:x:-1\n", {{{"a", "x"}, 4294967295U}}, {}},
        Case{"SignAndBlanksBeforeTheDigits", "a:x:  +5\n", {{{"a", "x"}, 5}}, {}},
        Case{"TrailingCharacters",
             "a:x:12abc\na:y:3 \na:z:4\r\n",
             {{{"a", "x"}, 12}, {{"a", "y"}, 3}, {{"a", "z"}, 4}},
             {}},
        Case{"HexadecimalIsNotRead", "a:x:0x10\n", {{{"a", "x"}, 0}}, {}},
        Case{"ARefusedLineKeepsTheEarlierValue", "a:x:1\na:x:abc\n", {{{"a", "x"}, 1}}, {invalid("abc")}},
        Case{"NamesAreTakenAsTheyStand", " a : x :1\n", {{{" a ", " x "}, 1}}, {}}),
    [](const testing::TestParamInfo<Case>& tested) { return tested.param.name; });

class DynamicVariableImport : public DeliverySet {};

TEST_F(DynamicVariableImport, AMissingFileIsNoError) {
    Variables variables{{{"a", "x"}, 1}};
    EXPECT_EQ(manager_.importDynamicVariableInfo("", variables, false), 0);
    EXPECT_EQ(variables.size(), 1U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(DynamicVariableImport, AnEmptyFileIsNoError) {
    testfiles::write(paths::kDynamicInfo, "");
    Variables variables{{{"a", "x"}, 1}};
    EXPECT_EQ(manager_.importDynamicVariableInfo("", variables, false), 0);
    EXPECT_EQ(variables.size(), 1U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(DynamicVariableImport, KeepsEntriesThatTheFileDoesNotName) {
    testfiles::write(paths::kDynamicInfo, "a:x:2\nb:y:3\n");
    Variables variables{{{"a", "x"}, 1}, {{"c", "z"}, 9}};
    EXPECT_EQ(manager_.importDynamicVariableInfo("", variables, false), 0);
    EXPECT_EQ(variables, (Variables{{{"a", "x"}, 2}, {{"b", "y"}, 3}, {{"c", "z"}, 9}}));
}

TEST_F(DynamicVariableImport, AnUnreadableFileIsMinusOne) {
    testfiles::makeDirectories(paths::kDynamicInfo);
    Variables variables;
    EXPECT_EQ(manager_.importDynamicVariableInfo("", variables, false), -1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "readFileToVecImpl: /etc/tarn/dynamicinfo is not a regular file"}}));
}

TEST_F(DynamicVariableImport, ReadsBelowAPrefix) {
    testfiles::write("/var/log/root/etc/tarn/dynamicinfo", "a:x:1\n");
    for (const std::string prefix : {"/var/log/root", "/var/log/root/"}) {
        Variables variables;
        EXPECT_EQ(manager_.importDynamicVariableInfo(prefix, variables, true), 0);
        EXPECT_EQ(variables.size(), 1U);
    }
}

TEST_F(DynamicVariableImport, NamesTheFileBelowThePrefixWhenALineIsTruncated) {
    testfiles::write("/var/log/root/etc/tarn/dynamicinfo", "a:x\n");
    Variables variables;
    EXPECT_EQ(manager_.importDynamicVariableInfo("/var/log/root", variables, true), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "###INFO: /var/log/root/etc/tarn/dynamicinfo is truncated"}}));
}

TEST_F(DynamicVariableImport, AFileOutsideTheAllowedTreesNeedsTheEscapeCheck) {
    testfiles::write("/var/log/root/etc/tarn/dynamicinfo", "a:x:1\n");
    Variables variables;
    EXPECT_EQ(manager_.importDynamicVariableInfo("/var/log/root", variables, false), -1);
    EXPECT_TRUE(variables.empty());
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1,
                                                    "readFileToVecImpl: unsafe path "
                                                    "/var/log/root/etc/tarn/dynamicinfo"}}));
}

TEST_F(DynamicVariableImport, ABadPrefixIsMinusOne) {
    Variables variables;
    EXPECT_EQ(manager_.importDynamicVariableInfo("/mnt/../x", variables, true), -1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Mount prefix contains escape char: /mnt/../x"},
                                                   {1, "Illegal prefix in importDynamicVariableInfo: /mnt/../x"}}));
    testlog::clear();
    EXPECT_EQ(manager_.importDynamicVariableInfo("mnt", variables, true), -1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Illegal prefix in importDynamicVariableInfo: mnt"}}));
}

TEST_F(DynamicVariableImport, TheConstructorLoadsTheFile) {
    testfiles::write(paths::kDynamicInfo, "a:x:1\nb:y\n");
    const ManagerAccess fresh;
    EXPECT_EQ(fresh.dynamicVarMap, (Variables{{{"a", "x"}, 1}}));
    EXPECT_EQ(testlog::lines(), std::vector<Line>{kTruncated});
}

TEST_F(DynamicVariableImport, LoadingAgainAddsToTheTable) {
    manager_.dynamicVarMap = {{{"c", "z"}, 9}};
    testfiles::write(paths::kDynamicInfo, "a:x:1\n");
    EXPECT_EQ(manager_.initDynamicVariableInfo(), 0);
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"a", "x"}, 1}, {{"c", "z"}, 9}}));
}

TEST_F(DynamicVariableImport, LoadingAnUnsafeFileFails) {
    testfiles::write("/var/log/elsewhere", "a:x:1\n");
    testfiles::link("/var/log/elsewhere", paths::kDynamicInfo);
    EXPECT_EQ(manager_.initDynamicVariableInfo(), -1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "readFileToVecImpl: unsafe path /etc/tarn/dynamicinfo"}}));
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
}

}  // namespace
