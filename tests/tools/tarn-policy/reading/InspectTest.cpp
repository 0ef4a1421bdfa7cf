// inspect: messages and records as text, as JSON, and as bytes beside their meaning.
#include <algorithm>

#include "SetFixture.h"
#include "libtarnmessage/MessageText.h"
#include "support/Model.h"

namespace {

using namespace settest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class InspectTest : public SetTest {};

TEST_F(InspectTest, ShowsEveryMessageInTheOrderOfDelivery) {
    putSet();
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    std::vector<std::string> titles;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '/') {
            titles.push_back(line.substr(std::strlen(kSet) + 1));
        }
    }
    EXPECT_THAT(titles, testing::ElementsAre(
                            "beginmsg: begin message, 20 bytes", "namemsg: namespace message, 93 bytes, 1 namespace",
                            "base_0_net_g_0: policy message, 124 bytes, 1 record",
                            "base_0_net_h_0: policy message, 243 bytes, 1 record",
                            "base_1_net_g_0: policy message, 194 bytes, 1 record",
                            "base_1_net_h_0: policy message, 304 bytes, 2 records", "endmsg: end message, 20 bytes"));
}

TEST_F(InspectTest, RecordHasEveryNameThatIsKnown) {
    putSet();
    putSideFiles();
    const Outcome outcome = tool({"inspect", at("base_0_net_h_0"), "--labels", std::string(kFolder) + "/labels.json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, at("base_0_net_h_0") +
                               ": policy message, 243 bytes, 1 record\n"
                               "record 0 at offset 20, 219 bytes\n"
                               "  policy type  1 (ordinary object)\n"
                               "  subject      0x11:0x12:0x13 (subject_file /usr/bin/a)\n"
                               "  object       0x21:0x22:0x23 (object_file /srv/x)\n"
                               "  class        1 (file)\n"
                               "  permission   2 (write)\n"
                               "  namespace    4075427327 (net)\n"
                               "  group        h\n"
                               "  attributes   A 0, B 0\n"
                               "  other words  0, 0, 0, 0\n"
                               "  condition    (netmod:check(7, \"ab\") op2 not net:usb_block[1])\n"
                               "  as stored    op2 netmod:check(7, \"ab\") not net:usb_block[1]\n");
}

TEST_F(InspectTest, RecordWithoutSideFilesHasItsNumbers) {
    testfiles::write("/etc/tarn/alone/x.msg", golden::message("policy-actions"));
    const Outcome outcome = tool({"inspect", "/etc/tarn/alone/x.msg"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("  class        1\n  permission   2\n  namespace    4075427327\n"
                                       "  group        not told by the file name\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  actions      function#2(\"denied\", 2), function#1()\n"));
}

TEST_F(InspectTest, NamesComeFromTheGivenFolderWhereTheOneAboveHasNone) {
    putSideFiles();
    testfiles::write("/etc/tarn/alone/set/base_0_net_g_0", golden::message("policy-actions"));
    const Outcome outcome = tool({"inspect", "/etc/tarn/alone/set/base_0_net_g_0", "--etc", kFolder});
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("  class        1 (file)\n"), HasSubstr("netmod:log(\"denied\", 2)")));
}

TEST_F(InspectTest, AmbiguousGroupIsShownAsSuch) {
    put("base_0_net_1_net_g_0", "policy-plain");
    const Outcome outcome = tool({"inspect", at("base_0_net_1_net_g_0")});
    EXPECT_THAT(outcome.out, HasSubstr("  group        ambiguous: 1_net_g or g\n"));
    const Json::Value record =
        parse(tool({"inspect", "--json", at("base_0_net_1_net_g_0")}).out)["messages"][0]["records"][0];
    ASSERT_EQ(record["groups"].size(), 2U);
    EXPECT_EQ(record["groups"][0].asString(), "1_net_g");
    EXPECT_EQ(record["groups"][1].asString(), "g");
}

// The two names have one checksum.
TEST_F(InspectTest, NamespacesThatShareANumberAreAllShown) {
    putSet();
    testfiles::write(at("namemsg"),
                     model::namespaceMessage({}, {{"plumless", {"m:f", "m:same"}}, {"buckeroo", {"m:g", "m:same"}}}));
    testfiles::write(at("base_1_net_g_0"), withWord(golden::message("policy-actions"), 96, 1306201125));
    EXPECT_THAT(tool({"inspect", at("base_1_net_g_0")}).out,
                AllOf(HasSubstr("  namespace    1306201125 (buckeroo or plumless)\n"),
                      HasSubstr("  actions      m:same(\"denied\", 2), function#1()\n")));
    const Json::Value record =
        parse(tool({"inspect", "--json", at("base_1_net_g_0")}).out)["messages"][0]["records"][0];
    ASSERT_EQ(record["namespaceNames"].size(), 2U);
    EXPECT_EQ(record["namespaceNames"][0].asString(), "buckeroo");
    EXPECT_EQ(record["namespaceNames"][1].asString(), "plumless");
    EXPECT_EQ(record["actions"][0]["functionName"].asString(), "m:same");
    EXPECT_EQ(record["actions"][1]["function"].asInt(), 1);
    EXPECT_FALSE(record["actions"][1].isMember("functionName"));
}

TEST_F(InspectTest, JsonIsOneObjectWithEveryRecord) {
    putSet();
    putSideFiles();
    const Outcome outcome = tool({"inspect", "--json", kSet, "--labels", std::string(kFolder) + "/labels.json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parse(outcome.out);
    EXPECT_EQ(object["format"].asInt(), 1);
    EXPECT_EQ(object["verb"].asString(), "inspect");
    EXPECT_EQ(object["exitCode"].asInt(), 0);
    EXPECT_EQ(object["exitName"].asString(), "shown");
    ASSERT_EQ(object["messages"].size(), 7U);
    EXPECT_EQ(object["messages"][0]["type"].asString(), "begin");
    const Json::Value& block = object["messages"][1]["namespaces"][0];
    EXPECT_EQ(block["name"].asString(), "net");
    EXPECT_EQ(block["number"].asUInt(), 4075427327U);
    EXPECT_EQ(block["functions"][1]["name"].asString(), "netmod:log");
    const Json::Value& record = object["messages"][3]["records"][0];
    EXPECT_EQ(record["offset"].asInt(), 20);
    EXPECT_EQ(record["bytes"].asInt(), 219);
    EXPECT_EQ(record["subject"][0].asString(), "0x11");
    EXPECT_EQ(record["subjectNames"][0].asString(), "subject_file /usr/bin/a");
    EXPECT_EQ(record["objectNames"][0].asString(), "object_file /srv/x");
    EXPECT_EQ(record["classNames"][0].asString(), "file");
    EXPECT_EQ(record["permNames"][0].asString(), "write");
    EXPECT_EQ(record["namespaceNames"][0].asString(), "net");
    EXPECT_EQ(record["groups"][0].asString(), "h");
    EXPECT_EQ(record["ext"][1].asUInt(), 4075427327U);
    EXPECT_EQ(record["condition"]["infix"].asString(), "(netmod:check(7, \"ab\") op2 not net:usb_block[1])");
    EXPECT_EQ(record["condition"]["prefix"].asString(), "op2 netmod:check(7, \"ab\") not net:usb_block[1]");
    ASSERT_EQ(record["condition"]["nodes"].size(), 4U);
    EXPECT_EQ(record["condition"]["nodes"][1]["functionName"].asString(), "netmod:check");
    EXPECT_EQ(record["condition"]["nodes"][1]["params"][0]["integer"].asInt(), 7);
    EXPECT_EQ(record["condition"]["nodes"][1]["params"][1]["string"].asString(), "ab");
    EXPECT_EQ(record["condition"]["nodes"][3]["variable"].asString(), "net:usb_block");
    EXPECT_EQ(object["messages"][4]["records"][0]["actions"][0]["functionName"].asString(), "netmod:log");
}

TEST_F(InspectTest, JsonOfEveryGoldenMessageIsJson) {
    for (const char* name : golden::kNames) {
        put("x", name);
        const Json::Value object = parse(tool({"inspect", "--json", at("x")}).out);
        EXPECT_EQ(object["messages"].size(), 1U) << name;
        EXPECT_EQ(object["messages"][0]["bytes"].asUInt(), golden::message(name).size()) << name;
    }
}

TEST_F(InspectTest, JsonLinesHaveOneObjectForEachMessageAndRecord) {
    putSet();
    const Outcome outcome = tool({"inspect", "--jsonl", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string kinds;
    for (const Json::Value& line : parseLines(outcome.out)) {
        kinds += line["kind"].asString()[0];
    }
    EXPECT_EQ(kinds, "mmnmrmrmrmrrm");
}

TEST_F(InspectTest, BytesThatAreNoTextSurviveInJson) {
    std::string message = golden::message("policy-actions");
    message[message.find("denied")] = '\xff';
    testfiles::write(at("x"), message);
    const Outcome outcome = tool({"inspect", "--json", at("x")});
    const Json::Value param = parse(outcome.out)["messages"][0]["records"][0]["actions"][0]["params"][0];
    EXPECT_EQ(param["string"].asString(),
              "\xef\xbf\xbd"
              "enied");
    EXPECT_EQ(param["stringHex"].asString(), "ff656e696564");
}

TEST_F(InspectTest, IntegersKeepTheirDigitsInJson) {
    std::string message = golden::message("policy-condition");
    const std::int64_t greatest = 9223372036854775807;
    std::memcpy(message.data() + 168, &greatest, sizeof greatest);
    testfiles::write(at("x"), message);
    EXPECT_THAT(tool({"inspect", "--json", at("x")}).out,
                HasSubstr("{\"integer\":9223372036854775807,\"integerText\":\"9223372036854775807\"}"));
}

TEST_F(InspectTest, TextOfALongRecordIsCutAndSaysSo) {
    putLongRecord();
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_LT(outcome.out.size(), 3 * tarnmessage::kMostExpressionText + 5 * longrecord::kNameBytes);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("op2  ... (2755 more)\n  as stored    op2 m:f"),
                                   HasSubstr("function#1)() ... (2661 more)\n  actions      m:f"),
                                   testing::ContainsRegex("function#1\\)\\(\\) \\.\\.\\. \\(5684 more\\)\n")));
}

TEST_F(InspectTest, JsonOfALongRecordIsCutAndSaysSo) {
    putLongRecord();
    const Outcome outcome = tool({"inspect", "--json", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_LT(outcome.out.size(), 4 * tarnmessage::kMostExpressionText + 6 * longrecord::kNameBytes);
    const Json::Value record = parse(outcome.out)["messages"][2]["records"][0];
    EXPECT_TRUE(record["truncated"].asBool());
    EXPECT_EQ(record["omitted"]["infix"].asUInt(), 2755U);
    EXPECT_EQ(record["omitted"]["prefix"].asUInt(), 2661U);
    EXPECT_EQ(record["omitted"]["nodes"].asUInt() + record["condition"]["nodes"].size(), 2 * longrecord::kPairs + 1);
    EXPECT_EQ(record["omitted"]["actions"].asUInt() + record["actions"].size(), longrecord::kActions);
    const Json::Value line = parseLines(tool({"inspect", "--jsonl", kSet}).out)[4];
    EXPECT_EQ(line["omitted"], record["omitted"]);
}

TEST_F(InspectTest, LongNamesAreCutInRecordsAndSaySo) {
    putLongNames();
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(
        outcome.out,
        AllOf(HasSubstr("\n  namespace    4075427327 (" + std::string(255, 'n') + "... (499745 more bytes))\n"),
              HasSubstr("\n  actions      m:" + std::string(253, 'f') + "... (499745 more bytes, function#1)()\n")));
    EXPECT_THAT(outcome.out, HasSubstr("namespace \"" + std::string(kLongName, 'n') + "\", number"))
        << "where it is announced the name is whole";
    const std::string hex = tool({"inspect", "--hex", at("base_0_net_g_0")}).out;
    EXPECT_EQ(golden::bytesOf(hex), testfiles::read(at("base_0_net_g_0")));
    const std::string hexOfSet = tool({"inspect", "--hex", kSet}).out;
    EXPECT_THAT(hexOfSet,
                AllOf(HasSubstr("function number 1 (m:" + std::string(253, 'f') + "... (499745 more bytes))\n"),
                      HasSubstr("name number 4075427327 (" + std::string(255, 'n') + "... (499745 more bytes))\n")));
}

TEST_F(InspectTest, JsonHasTheLengthsOfNamesThatAreCut) {
    putLongNames();
    const Json::Value messages = parse(tool({"inspect", "--json", kSet}).out)["messages"];
    EXPECT_EQ(messages[1]["namespaces"][0]["name"].asString().size(), kLongName);
    EXPECT_EQ(messages[1]["namespaces"][0]["functions"][0]["name"].asString().size(), kLongName);
    const Json::Value& record = messages[2]["records"][0];
    EXPECT_EQ(record["namespaceNames"][0].asString(), std::string(255, 'n'));
    EXPECT_EQ(record["namespaceNamesBytes"][0].asUInt(), kLongName);
    EXPECT_EQ(record["actions"][0]["functionName"].asString().size(), 255U);
    EXPECT_EQ(record["actions"][0]["functionNameBytes"].asUInt(), kLongName);
}

TEST_F(InspectTest, OutputDoesNotGrowWithRecordsTimesNames) {
    putLongNames();
    for (const char* form : {"", "--json", "--jsonl", "--hex"}) {
        const Outcome outcome = shell("\"$0\" inspect " + std::string(kSet) + " " + form + " | wc -c");
        EXPECT_LT(std::stoul(outcome.out), 30U << 20U) << form;
    }
}

TEST_F(InspectTest, OrdinaryRecordHasNoWordOfOmissions) {
    putSet();
    EXPECT_THAT(tool({"inspect", "--json", kSet}).out, AllOf(Not(HasSubstr("truncated")), Not(HasSubstr("omitted"))));
    EXPECT_THAT(tool({"inspect", kSet}).out, Not(HasSubstr("more)")));
    EXPECT_THAT(tool({"inspect", "--hex", kSet}).out, Not(HasSubstr("left out")));
}

TEST_F(InspectTest, HexOfALongRecordHasAllBytesAndLeavesNamesOut) {
    putLongRecord();
    const Outcome outcome = tool({"inspect", "--hex", at("base_0_net_g_0")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(golden::bytesOf(outcome.out), longrecord::policyMessage());
    EXPECT_THAT(outcome.out, HasSubstr("function number 1 (name left out)\n"));
    constexpr std::size_t kLine = 80;
    constexpr std::size_t kLinesOfANode = 8;
    const std::size_t nodes = 2 * longrecord::kPairs + 1 + longrecord::kActions;
    EXPECT_LT(outcome.out.size(),
              nodes * kLinesOfANode * kLine + tarnmessage::kMostExpressionText + 2 * longrecord::kNameBytes);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory for a while
TEST_F(InspectTest, MemoryDoesNotGrowWithCallsTimesNames) {
    putLongRecord();
    for (const char* form : {"", "--json", "--jsonl", "--hex"}) {
        const std::vector<std::string> words{"inspect", kSet, form};
        EXPECT_LT(peakOfTool({words.begin(), words.end() - (*form == '\0' ? 1 : 0)}), 100 * 1024) << form << " KiB";
    }
}
#endif

TEST_F(InspectTest, HexHasEveryByteInItsPlace) {
    for (const char* name : golden::kNames) {
        put("x", name);
        const Outcome outcome = tool({"inspect", "--hex", at("x")});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(golden::bytesOf(outcome.out), golden::message(name)) << name;
    }
}

TEST_F(InspectTest, HexSaysWhatEachFieldMeans) {
    putSet();
    putSideFiles();
    const Outcome outcome =
        tool({"inspect", "--hex", at("base_0_net_h_0"), "--labels", std::string(kFolder) + "/labels.json"});
    for (const char* line : {
             "03 00 00 00                          # 16  type 3 (policy)\n",
             "# record 0\na5 a5 5a 5a                          # 20  magic number 0x5a5aa5a5\n",
             "13 00 00 00 00 00 00 00              # 48  subject, word 3: 0x13 (subject_file /usr/bin/a)\n",
             "01 00 00 00                          # 84  permission class 1 (file)\n",
             "02 00 00 00                          # 88  permission 2 (write)\n",
             "ff 15 ea f2                          # 96  name number 4075427327 (net)\n",
             "# condition node 1\n04 00 00 00                          # 140  node type 4 (call)\n",
             "01 00 00 00                          # 148  function number 1 (netmod:check)\n",
             "07 00 00 00 00 00 00 00              # 168  integer 7\n",
             "61 62                                # 184  string \"ab\"\n",
             "6e 65 74 3a 75 73 62 5f 62 6c 6f 63  # 226  variable \"net:usb_block\"\n",
             "\n6b                                   # continued\n",
             "# end\nff ff 34 12                          # 239  end number 0x1234ffff\n",
         }) {
        EXPECT_THAT(outcome.out, HasSubstr(line));
    }
}

TEST_F(InspectTest, HexOfADamagedMessageHasAllItsBytesToo) {
    const std::string damaged = withWord(golden::message("policy-pairs"), 160, 7);
    testfiles::write(at("x"), damaged);
    const Outcome outcome = tool({"inspect", "--hex", at("x")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(golden::bytesOf(outcome.out), damaged);
    EXPECT_THAT(outcome.out, HasSubstr("unsound: offset 160: wrong magic number of a record"));
    testfiles::write(at("x"), "abc");
    EXPECT_EQ(golden::bytesOf(tool({"inspect", "--hex", at("x")}).out), "abc");
}

TEST_F(InspectTest, DamagedMessageIsShownAsFarAsItIsSound) {
    putSet();
    testfiles::write(at("base_1_net_h_0"), withWord(golden::message("policy-pairs"), 160, 7));
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("base_1_net_h_0: unsound: offset 160: wrong magic number of a record (expected "
                                       "0x5a5aa5a5, found 0x7); the kernel would answer 22 (Invalid argument)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("endmsg: end message")) << "what follows is shown";
    const Json::Value message = parse(tool({"inspect", "--json", kSet}).out)["messages"][5];
    EXPECT_EQ(message["records"].size(), 1U);
    EXPECT_EQ(message["code"].asString(), "magic-number");
    EXPECT_EQ(message["offset"].asInt(), 160);
    EXPECT_EQ(message["answer"].asInt(), 22);
    EXPECT_EQ(parseLines(tool({"inspect", "--jsonl", at("base_1_net_h_0")}).out).back()["kind"].asString(), "problem");
}

TEST_F(InspectTest, MissingFrameIsSaid) {
    putSet();
    std::remove(at("endmsg").c_str());
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("endmsg: unsound: is missing\n"));
    EXPECT_EQ(parse(tool({"inspect", "--json", kSet}).out)["messages"][6]["problem"].asString(), "is missing");
}

TEST_F(InspectTest, PathThatCanNotBeReadIsTrouble) {
    putSet();
    const Outcome outcome = tool({"inspect", "/etc/tarn/nothing", at("endmsg")});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read /etc/tarn/nothing: can't be read: No such file or directory"));
    EXPECT_THAT(outcome.out, HasSubstr("endmsg: end message")) << "the others are shown";
    const Json::Value object = parse(tool({"inspect", "--json", "/etc/tarn/nothing"}).out);
    EXPECT_EQ(object["exitCode"].asInt(), 2);
    EXPECT_EQ(object["exitName"].asString(), "trouble");
}

TEST_F(InspectTest, SideFilesThatCanNotBeReadAreWarnings) {
    putSet();
    putSideFiles();
    testfiles::write(std::string(kFolder) + "/scene_info", "bad\n");
    const Outcome outcome = tool({"inspect", kSet});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tarn-policy: warning: /etc/tarn/copy/scene_info: line 1 is skipped"));
    const Outcome labels = tool({"inspect", kSet, "--labels", "/etc/tarn/nothing"});
    EXPECT_EQ(labels.status, 2) << "a table that was asked for must be there";
    EXPECT_THAT(labels.err, HasSubstr("cannot read the label table"));
}

TEST_F(InspectTest, ManyBadLinesOfASideFileAreCounted) {
    putSet();
    std::string lines;
    for (int line = 0; line < 1000; ++line) {
        lines += "bad\n";
    }
    testfiles::write(std::string(kFolder) + "/scene_info", lines);
    testfiles::write(std::string(kFolder) + "/funcinfo", lines);
    const Json::Value warnings = parse(tool({"inspect", "--json", kSet}).out)["warnings"];
    ASSERT_EQ(warnings.size(), 22U);
    EXPECT_THAT(warnings[9].asString(), HasSubstr("/scene_info: line 10 is skipped"));
    EXPECT_EQ(warnings[10].asString(), "/etc/tarn/copy/scene_info: and 990 more in this file");
    EXPECT_EQ(warnings[21].asString(), "/etc/tarn/copy/funcinfo: and 990 more in this file");
}

TEST_F(InspectTest, FormsOfOutputExcludeEachOther) {
    putSet();
    for (const auto& flags :
         std::vector<std::vector<std::string>>{{"--hex", "--json"}, {"--hex", "--jsonl"}, {"--json", "--jsonl"}}) {
        const Outcome outcome = tool({"inspect", kSet, flags[0], flags[1]});
        EXPECT_EQ(outcome.status, 2);
        if (std::count(flags.begin(), flags.end(), "--json") == 0) {
            EXPECT_EQ(outcome.out, "");
        } else {
            EXPECT_THAT(outcome.out, HasSubstr("\"exitName\" : \"usage\""));
        }
    }
    EXPECT_EQ(tool({"inspect"}).status, 2);
}

TEST_F(InspectTest, ReaderThatGoesAwayEndsItQuietly) {
    put("beginmsg", "begin");
    put("endmsg", "end");
    for (int file = 0; file < 40; ++file) {
        testfiles::write(at("base_0_net_g_" + std::to_string(file)), plainMessage(2000, 1));
    }
    for (const char* flag : {"", "--json", "--jsonl", "--hex"}) {
        const Outcome outcome =
            shell("\"$0\" inspect " + std::string(kSet) + " " + flag + " | head -1 >/dev/null; echo ${PIPESTATUS[0]}");
        EXPECT_EQ(outcome.out, "0\n") << flag;
        EXPECT_EQ(outcome.err, "") << flag;
    }
}

TEST_F(InspectTest, FullDiskUnderTheOutputIsTrouble) {
    putSet();
    const Outcome outcome = shell("\"$0\" inspect " + std::string(kSet) + " >/dev/full");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output: No space left on device"));
}

TEST_F(InspectTest, NothingOnTheMachineIsTouched) {
    putSet();
    putSideFiles();
    static_cast<void>(tool({"inspect", kSet}));
    EXPECT_EQ(testfiles::list("/etc/tarn"), std::vector<std::string>{"copy"});
    EXPECT_FALSE(testfiles::exists("/var/log/tarn-policy.log"));
    EXPECT_FALSE(testfiles::exists("/run/lock/tarn-policy"));
}

}  // namespace
