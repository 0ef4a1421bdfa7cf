// verify: what the kernel would refuse, what it would not notice, and what can't be told.
#include <sys/stat.h>

#include "SetFixture.h"
#include "support/Model.h"

namespace {

using namespace settest;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class VerifyTest : public SetTest {
protected:
    // As the library leaves a set.
    void SetUp() override {
        putSet();
        putSideFiles();
        for (const std::string& name : testfiles::list(kSet)) {
            ASSERT_EQ(chmod(at(name).c_str(), 0440), 0);
        }
        ASSERT_EQ(chmod(kSet, 0750), 0);
    }

    static void replace(const std::string& file, const std::string& bytes) {
        testfiles::write(at(file), bytes);
        ASSERT_EQ(chmod(at(file).c_str(), 0440), 0);
    }

    // The lines of a run, without the sum.
    static std::vector<std::string> findings(const std::vector<std::string>& flags = {}, int status = 0) {
        std::vector<std::string> words{"verify", kSet};
        words.insert(words.end(), flags.begin(), flags.end());
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
        std::vector<std::string> lines;
        std::istringstream text(outcome.out);
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        if (!lines.empty()) {
            lines.pop_back();
        }
        return lines;
    }
    // A message whose records have each a class of its own that nobody knows.
    static std::string messageOfUnknownClasses(std::uint32_t records) {
        std::string message = plainMessage(records, 1000);
        for (std::uint32_t record = 0; record < records; ++record) {
            message = withWord(message, 84 + 100 * record, 500 + record);
        }
        return message;
    }
    static std::string found(const std::string& file, const std::string& rest) { return at(file) + rest; }
};

TEST_F(VerifyTest, SetAsTheLibraryLeavesItHasNoFinding) {
    const Outcome outcome = tool({"verify", kSet});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, std::string(kSet) + ": 7 messages, 5 records, 998 bytes: the kernel would take it\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(VerifyTest, EveryRefusalHasFileOffsetAndWhatWasExpected) {
    const std::string pairs = golden::message("policy-pairs");
    const std::string condition = golden::message("policy-condition");
    const std::string space = golden::message("namespace");
    struct Case {
        const char* file;
        std::string bytes;
        const char* line;
    };
    const std::vector<Case> cases{
        {"base_1_net_h_0", withWord(pairs, 4, 300),
         ":4: refused: the header's length differs from the bytes of the message: found 300, expected 304 [length, 22 "
         "Invalid argument]"},
        {"base_1_net_h_0", withWord(pairs, 12, 3),
         ":12: refused: the header's record count differs from the content: found 3, expected 2 [record-count, 22 "
         "Invalid "
         "argument]"},
        {"base_1_net_h_0", withWord(pairs, 160, 7),
         ":160: refused: wrong magic number of a record: found 0x7, expected 0x5a5aa5a5 [magic-number, 22 Invalid "
         "argument]"},
        {"base_1_net_h_0", withWord(pairs, 300, 7),
         ":300: refused: wrong end number: found 0x7, expected 0x1234ffff [end-number, 22 Invalid argument]"},
        {"base_1_net_h_0", withWord(pairs, 16, 9),
         ":16: refused: unknown message type: found 9, expected 4 [unknown-type, 74 Bad message]"},
        {"base_0_net_h_0", withWord(condition, 148, 3),
         ":148: refused: a function number that the namespace message did not announce (greatest announced, number "
         "called): "
         "found 3, expected 2 [unknown-function, 61 No data available]"},
        {"base_0_net_h_0", withWord(condition, 160, 4),
         ":160: refused: a parameter is neither integer (2) nor string (3): found 4, expected 3 [parameter-type, 22 "
         "Invalid "
         "argument]"},
        {"base_0_net_h_0", withWord(condition, 186, 2),
         ":239: refused: an operator of the condition lacks operands: found 4, expected 5 [condition-incomplete, 22 "
         "Invalid "
         "argument]"},
        {"beginmsg", "abc",
         ":0: refused: fewer bytes than a message header: found 3, expected 20 [short-header, 22 Invalid argument]"},
    };
    for (const Case& one : cases) {
        const std::string before = testfiles::read(at(one.file));
        replace(one.file, one.bytes);
        EXPECT_THAT(findings({"--no-duplicates"}, 1), testing::ElementsAre(found(one.file, one.line)));
        replace(one.file, before);
    }
    const std::string before = testfiles::read(at("namemsg"));
    replace("namemsg", withWord(space, 36, 1));
    EXPECT_THAT(findings({"--no-duplicates"}, 1),
                testing::Contains(found("namemsg",
                                        ":36: refused: a reserved word of a namespace is not zero: found 0x1, "
                                        "expected 0x0 [reserved-word, 22 Invalid argument]")));
    replace("namemsg", before);
}

TEST_F(VerifyTest, MissingAndMisplacedMessagesAreRefused) {
    std::remove(at("beginmsg").c_str());
    replace("endmsg", golden::message("begin"));
    EXPECT_THAT(findings({}, 1),
                testing::ElementsAre(found("beginmsg",
                                           ": refused: is missing, expected a message under this name "
                                           "[no-message, 71 Protocol error]"),
                                     found("endmsg",
                                           ": refused: holds a message of the kind begin, expected end, expected "
                                           "a message of its kind in each file [wrong-kind, 71 Protocol error]")));
}

TEST_F(VerifyTest, SetWithoutItsEndWouldNeverBeInForce) {
    std::remove(at("endmsg").c_str());
    EXPECT_THAT(findings({}, 1), testing::ElementsAre(found("endmsg",
                                                            ": refused: is missing, expected a message under this "
                                                            "name [no-message]")));
    testfiles::link(at("beginmsg"), at("endmsg"));
    EXPECT_THAT(findings({}, 1),
                testing::ElementsAre(HasSubstr("is a symbolic link, which is never followed, expected a "
                                               "message under this name [no-message]")));
}

TEST_F(VerifyTest, DuplicatesAreFoundAcrossFiles) {
    replace("base_1_net_g_0", golden::message("policy-plain"));
    EXPECT_THAT(findings(), testing::ElementsAre(found(
                                "base_1_net_g_0", ":20: notice: the same record stands in " + at("base_0_net_g_0") +
                                                      " at offset 20, expected one of them [duplicate-record]")));
    EXPECT_THAT(findings({"--no-duplicates"}), IsEmpty());
}

TEST_F(VerifyTest, NamespacesThatShareANumberAreNoticed) {
    testfiles::write(std::string(kFolder) + "/scene_info", "4075427327:net\n4075427327:twin\n");
    EXPECT_THAT(findings(), testing::ElementsAre(
                                found("namemsg",
                                      ":20: notice: number 4075427327 belongs to net or twin, expected one name "
                                      "[same-number]"),
                                std::string(kFolder) + "/scene_info: notice: number 4075427327 belongs to net or twin, "
                                                       "expected one name [same-number]"));
}

// The two names have one checksum.
TEST_F(VerifyTest, NamespacesThatShareANumberInTheMessageAloneAreNoticed) {
    replace("namemsg",
            model::namespaceMessage(
                {}, {{"net", {"netmod:check", "netmod:log"}}, {"plumless", {"m:f"}}, {"buckeroo", {"m:f"}}}));
    const std::string line = found("namemsg",
                                   ":136: notice: namespace \"buckeroo\" has the number 1306201125 of \"plumless\", "
                                   "announced at offset 89, expected a number of its own [same-number]");
    EXPECT_THAT(findings(), testing::ElementsAre(line));
    EXPECT_THAT(tool({"verify", at("namemsg")}).out, testing::StartsWith(line + "\n"));
}

TEST_F(VerifyTest, NamespacesThatAreAnnouncedTwiceAreNoticed) {
    const std::vector<std::string> functions{"netmod:check", "netmod:log"};
    replace("namemsg", model::namespaceMessage({}, {{"net", functions}, {"net", functions}}));
    EXPECT_THAT(findings(), testing::ElementsAre(found("namemsg",
                                                       ":89: notice: namespace \"net\" was announced before, at "
                                                       "offset 20, expected one block [same-name]")));
}

TEST_F(VerifyTest, VeryManyNamespacesOfOneNumberAreCounted) {
    constexpr std::size_t kMany = 20000;
    model::Numbers numbers;
    model::Namespaces namespaces;
    for (std::size_t number = 0; number < kMany; ++number) {
        const std::string name = "n" + std::to_string(number);
        numbers.names[name] = 7;
        namespaces.push_back({name, {"m:f"}});
    }
    testfiles::write(at("namemsg"), model::namespaceMessage(numbers, namespaces));
    const Outcome outcome = tool({"verify", at("namemsg")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\"n10\" has the number 7 of \"n0\", announced at offset 20,"),
                                   HasSubstr(": notice: and 19989 more of this kind in this file [same-number]\n")));
    EXPECT_LT(outcome.out.size(), 10000U);
}

TEST_F(VerifyTest, NumbersThatNobodyPinsAreNoticed) {
    testfiles::write(std::string(kFolder) + "/scene_info", "7:net\n");
    EXPECT_THAT(findings(), testing::Contains(found("namemsg",
                                                    ":20: notice: namespace \"net\" has the number 4075427327, "
                                                    "expected 7, as scene_info says [pinned-number]")));
}

TEST_F(VerifyTest, DoubledAndBadFunctionsAreNoticed) {
    std::string twice = golden::message("namespace");
    std::memcpy(twice.data() + 79, "netmodlogs", 10);
    replace("namemsg", twice);
    EXPECT_THAT(findings(), testing::ElementsAre(found("namemsg",
                                                       ":71: notice: function \"netmodlogs\", expected "
                                                       "MODULE:FUNCTION [function-name]")));
}

TEST_F(VerifyTest, FilesThatTheSenderPassesOverAreNoticed) {
    put(".hidden", "policy-plain");
    testfiles::makeDirectories(at("folder"));
    testfiles::link(at("endmsg"), at("link"));
    EXPECT_THAT(findings(),
                testing::ElementsAre(HasSubstr("/.hidden: notice: the sender passes over names with a leading dot"),
                                     HasSubstr("/folder: notice: the sender passes over whatever is no regular file"),
                                     HasSubstr("/link: notice: is a symbolic link, which is never followed")));
}

TEST_F(VerifyTest, GapsInASeriesAreNoticed) {
    replace("base_0_net_g_2", plainMessage(1, 100));
    EXPECT_THAT(findings(), testing::ElementsAre(found("base_0_net_g_2",
                                                       ": notice: its series has no file before this one, "
                                                       "expected the file base_0_net_g_1 [missing-before]")));
    replace("base_0_net_g_1", plainMessage(10000, 1000));
    EXPECT_THAT(findings(), testing::ElementsAre(found("base_0_net_g_0",
                                                       ":12: notice: 1 records, though the series goes on, "
                                                       "expected 10000 records in all files of a series but "
                                                       "the last [short-message]")));
}

TEST_F(VerifyTest, FilesUnderForeignNamesAreNoticed) {
    ASSERT_EQ(std::rename(at("base_0_net_g_0").c_str(), at("base_0_fs_g_0").c_str()), 0);
    EXPECT_THAT(findings(), testing::ElementsAre(found("base_0_fs_g_0",
                                                       ":20: notice: the file's name has no place for "
                                                       "namespace 4075427327 (net), expected "
                                                       "KEY_SLICE_NAMESPACE_GROUP_INDEX [file-name]")));
}

// "net" is one of very many names of its number, and no name is left out when a file name or a variable is judged.
TEST_F(VerifyTest, EachOfVeryManyNamesOfANumberCounts) {
    std::string scenes = "4075427327:net\n";
    for (int index = 0; index < 5000; ++index) {
        scenes += "4075427327:a" + std::to_string(index) + "\n";
    }
    testfiles::write(std::string(kFolder) + "/scene_info", scenes);
    const auto misplaced = testing::Contains(HasSubstr("[file-name]"));
    const auto strange = testing::Contains(HasSubstr("[variable-namespace]"));
    std::string message = golden::message("policy-condition");
    replace("base_0_net_g_0", message);
    EXPECT_THAT(findings(), AllOf(Not(misplaced), Not(strange)));
    const std::size_t variable = message.find("net:usb_block");
    replace("base_0_net_g_0", message.replace(variable, 6, "a4999:"));
    EXPECT_THAT(findings(), AllOf(Not(misplaced), Not(strange)));
    replace("base_0_net_g_0", message.replace(variable, 6, "a5000:"));
    EXPECT_THAT(findings(), AllOf(Not(misplaced), strange));
    ASSERT_EQ(std::rename(at("base_0_net_g_0").c_str(), at("base_0_a4999_g_0").c_str()), 0);
    EXPECT_THAT(findings(), Not(misplaced));
    ASSERT_EQ(std::rename(at("base_0_a4999_g_0").c_str(), at("base_0_a5000_g_0").c_str()), 0);
    EXPECT_THAT(findings(), misplaced);
}

TEST_F(VerifyTest, UnknownClassesPermissionsAndNamespacesAreNoticed) {
    replace("base_0_net_g_0", withWord(golden::message("policy-plain"), 84, 9));
    EXPECT_THAT(findings(), testing::ElementsAre(found("base_0_net_g_0",
                                                       ":20: notice: class 9, expected a class of "
                                                       "class-def.conf [unknown-class]")));
    replace("base_0_net_g_0", withWord(golden::message("policy-plain"), 88, 9));
    EXPECT_THAT(findings(), testing::ElementsAre(HasSubstr(":20: notice: permission 9 of class 1 (file), expected")));
    replace("base_0_net_g_0", withWord(golden::message("policy-plain"), 96, 9));
    EXPECT_THAT(findings(), testing::ElementsAre(HasSubstr(":20: notice: namespace 9 has no name, expected one")));
}

TEST_F(VerifyTest, RecordsOfSeveralNamespacesAreNoticed) {
    testfiles::write(std::string(kFolder) + "/scene_info", "4075427327:net\n9:fs\n");
    replace("base_0_net_g_0", withWord(plainMessage(2, 50), 20 + 100 + 76, 9));
    EXPECT_THAT(findings(), testing::Contains(HasSubstr("base_0_net_g_0:120: notice: a record of namespace 9, expected "
                                                        "4075427327, as in the first record [mixed-namespaces]")));
}

TEST_F(VerifyTest, VariablesOfOtherNamespacesAreNoticed) {
    std::string message = golden::message("policy-condition");
    message.replace(message.find("net:usb"), 3, "foo");
    replace("base_0_net_h_0", message);
    EXPECT_THAT(findings(), testing::ElementsAre(HasSubstr(
                                ":206: notice: dynamic variable \"foo:usb_block\", expected one of namespace net")));
}

TEST_F(VerifyTest, VeryManyVariablesOfOtherNamespacesAreCounted) {
    const std::string name(1000000, 'n');
    model::Numbers numbers;
    numbers.names[name] = longrecord::kNameId;
    model::Namespaces namespaces;
    namespaces.emplace_back(name, std::vector<std::string>{"m:f"});
    replace("namemsg", model::namespaceMessage(numbers, namespaces));
    replace("base_0_net_g_0", longrecord::messageOfVariables("x:y"));
    for (const char* other : {"base_0_net_h_0", "base_1_net_g_0", "base_1_net_h_0"}) {
        std::remove(at(other).c_str());
    }
    const std::vector<std::string> lines = findings({"--no-duplicates"});
    EXPECT_THAT(lines, testing::Contains(
                           found("base_0_net_g_0", ": notice: and " + std::to_string(longrecord::kPairs + 1 - 10) +
                                                       " more of this kind in this file [variable-namespace]")));
    EXPECT_THAT(lines, testing::Each(testing::SizeIs(testing::Lt(1000U)))) << "names are cut";
}

TEST_F(VerifyTest, WhatASetShouldHaveIsNoticed) {
    for (const char* name : {"namemsg", "base_0_net_g_0", "base_0_net_h_0", "base_1_net_g_0", "base_1_net_h_0"}) {
        std::remove(at(name).c_str());
    }
    EXPECT_THAT(findings(), testing::ElementsAre(HasSubstr("[no-namespace-message]"), HasSubstr("[no-policies]")));
}

TEST_F(VerifyTest, ModesAndOwnersAreNoticed) {
    ASSERT_EQ(chmod(at("endmsg").c_str(), 0646), 0);
    ASSERT_EQ(chmod(kSet, 0755), 0);
    EXPECT_THAT(findings(), testing::ElementsAre(found("endmsg", ": notice: mode 0646, expected 0440 or less [mode]"),
                                                 found("", ": notice: mode 0755, expected 0750 or less [mode]")));
    EXPECT_THAT(findings({"--copy"}), IsEmpty());
    if (chown(at("namemsg").c_str(), 65534, 65534) == 0) {
        EXPECT_THAT(findings(),
                    testing::Contains(found("namemsg", ": notice: belongs to user 65534, expected root [owner]")));
    }
}

TEST_F(VerifyTest, WhatCanNotBeReadIsTrouble) {
    EXPECT_EQ(tool({"verify", "/etc/tarn/nothing"}).status, 2);
    ASSERT_EQ(chmod(at("base_0_net_g_0").c_str(), 0), 0);
    // Without its capabilities root is held by modes, too.
    const Outcome outcome = shell("exec setpriv --bounding-set=-all \"$0\" verify " + std::string(kSet));
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(found("base_0_net_g_0",
                                             ": unreadable: can't be read: Permission denied, expected a file "
                                             "that may be read [unreadable]")));
}

// The tool waits for its reader in the messages behind the one that is removed: they give more lines than a pipe holds.
TEST_F(VerifyTest, SetThatChangesMeanwhileIsTrouble) {
    for (int file = 0; file < 250; ++file) {
        replace("z_" + std::to_string(file) + "_net_g_0", messageOfUnknownClasses(10));
    }
    const Outcome outcome = shell("\"$0\" verify --copy " + std::string(kSet) + " | { read -r line; rm " +
                                  at("base_0_net_g_0") + "; cat >/dev/null; }; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr(std::string(kSet) + " was changed while it was being read"));
}

TEST_F(VerifyTest, SingleMessageIsVerifiedByItself) {
    for (const std::string& name : testfiles::list(kSet)) {
        EXPECT_EQ(tool({"verify", at(name)}).status, 0) << name;
    }
    replace("base_0_net_h_0", withWord(golden::message("policy-condition"), 148, 3));
    const Outcome outcome = tool({"verify", at("base_0_net_h_0")});
    EXPECT_EQ(outcome.status, 1) << "the namespace message lies beside it";
    EXPECT_THAT(outcome.out, HasSubstr("[unknown-function, 61 No data available]"));
}

TEST_F(VerifyTest, JsonHasEveryFindingAndTheSum) {
    replace("base_1_net_h_0", withWord(golden::message("policy-pairs"), 160, 7));
    replace("base_1_net_g_0", golden::message("policy-plain"));
    const Outcome outcome = tool({"verify", "--json", kSet});
    EXPECT_EQ(outcome.status, 1);
    const Json::Value object = parse(outcome.out);
    EXPECT_EQ(object["exitName"].asString(), "refused");
    EXPECT_EQ(object["files"].asInt(), 7);
    EXPECT_EQ(object["refused"].asInt(), 1);
    EXPECT_EQ(object["notices"].asInt(), 1);
    ASSERT_EQ(object["findings"].size(), 2U);
    EXPECT_EQ(object["findings"][0]["weight"].asString(), "refused");
    EXPECT_EQ(object["findings"][0]["code"].asString(), "magic-number");
    EXPECT_EQ(object["findings"][0]["path"].asString(), at("base_1_net_h_0"));
    EXPECT_EQ(object["findings"][0]["offset"].asInt(), 160);
    EXPECT_EQ(object["findings"][0]["expected"].asString(), "0x5a5aa5a5");
    EXPECT_EQ(object["findings"][0]["answer"].asInt(), 22);
    EXPECT_EQ(object["findings"][1]["code"].asString(), "duplicate-record");
}

TEST_F(VerifyTest, ManyFindingsOfAKindInAFileAreCounted) {
    replace("base_0_net_g_0", messageOfUnknownClasses(30));
    replace("base_1_net_g_0", messageOfUnknownClasses(11));
    const std::vector<std::string> lines = findings({"--no-duplicates"});
    ASSERT_EQ(lines.size(), 22U);
    EXPECT_THAT(lines[9], HasSubstr(found("base_0_net_g_0", ":920: notice: class 509, expected")));
    EXPECT_EQ(lines[10], found("base_0_net_g_0", ": notice: and 20 more of this kind in this file [unknown-class]"));
    EXPECT_THAT(lines[20], HasSubstr(found("base_1_net_g_0", ":920: notice: class 509, expected")));
    EXPECT_EQ(lines[21], found("base_1_net_g_0", ": notice: and 1 more of this kind in this file [unknown-class]"));
    EXPECT_THAT(tool({"verify", "--no-duplicates", kSet}).out, HasSubstr("the kernel would take it, 41 notices\n"));
}

TEST_F(VerifyTest, TenFindingsOfAKindAreAllTold) {
    replace("base_0_net_g_0", messageOfUnknownClasses(10));
    EXPECT_THAT(findings({"--no-duplicates"}), AllOf(testing::SizeIs(10), Not(testing::Contains(HasSubstr(" more ")))));
}

TEST_F(VerifyTest, ManyDuplicatesInAFileAreCounted) {
    std::string message = plainMessage(30, 1000);
    for (std::size_t record = 1; record < 30; ++record) {
        message.replace(20 + 100 * record, 100, message.substr(20, 100));
    }
    replace("base_0_net_g_0", message);
    const std::vector<std::string> lines = findings();
    ASSERT_EQ(lines.size(), 11U);
    EXPECT_EQ(lines[10], found("base_0_net_g_0", ": notice: and 19 more of this kind in this file [duplicate-record]"));
}

TEST_F(VerifyTest, JsonCountsTheFindingsThatAreNotTold) {
    replace("base_0_net_g_0", messageOfUnknownClasses(30));
    const Json::Value object = parse(tool({"verify", "--json", "--no-duplicates", kSet}).out);
    EXPECT_EQ(object["notices"].asInt(), 30);
    ASSERT_EQ(object["findings"].size(), 11U);
    EXPECT_FALSE(object["findings"][9].isMember("omitted"));
    EXPECT_EQ(object["findings"][10]["omitted"].asInt(), 20);
    EXPECT_EQ(object["findings"][10]["code"].asString(), "unknown-class");
    EXPECT_EQ(object["findings"][10]["weight"].asString(), "notice");
    EXPECT_EQ(object["findings"][10]["path"].asString(), at("base_0_net_g_0"));
}

TEST_F(VerifyTest, StatusStandsThoughNobodyReads) {
    replace("endmsg", "abc");
    const Outcome outcome = unread("verify " + std::string(kSet));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
