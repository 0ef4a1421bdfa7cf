// query: the records that have all that is asked for.
#include "SetFixture.h"
#include "libtarnmessage/MessageText.h"
#include "support/Model.h"

namespace {

using namespace settest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class QueryTest : public SetTest {
protected:
    void SetUp() override {
        putSet();
        putSideFiles();
        put("base_0_ns_g_0", "policy-special");
    }

    // File and number of each record found.
    static std::vector<std::string> found(std::vector<std::string> flags, int status = 0) {
        flags.insert(flags.begin(), {"query", kSet, "--jsonl", "--labels", std::string(kFolder) + "/labels.json"});
        const Outcome outcome = tool(flags);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        std::vector<std::string> records;
        for (const Json::Value& record : parseLines(outcome.out)) {
            const std::string path = record["path"].asString();
            records.push_back(path.substr(path.rfind('/') + 1) + " " + record["record"].asString());
        }
        return records;
    }
};

TEST_F(QueryTest, WithoutAQuestionEveryRecordIsFound) {
    EXPECT_EQ(found({}).size(), 6U);
}

// The two names have one checksum.
TEST_F(QueryTest, RecordsOfASharedNumberAreFoundUnderEachName) {
    testfiles::write(at("namemsg"), model::namespaceMessage({}, {{"plumless", {"m:f", "m:g"}}, {"buckeroo", {"m:g"}}}));
    testfiles::write(at("base_1_net_g_0"), withWord(golden::message("policy-actions"), 96, 1306201125));
    for (const char* name : {"plumless", "buckeroo"}) {
        const Outcome outcome = tool({"query", at("base_1_net_g_0"), "--namespace", name});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr("  namespace    1306201125 (buckeroo or plumless)\n"));
    }
}

TEST_F(QueryTest, SubjectsAndObjectsAreFoundByNameAndIdentifier) {
    EXPECT_EQ(found({"--subject", "/usr/bin/a"}).size(), 5U);
    EXPECT_EQ(found({"--subject", "0x11:18:0x13"}).size(), 5U);
    EXPECT_EQ(found({"--object", "/srv/x"}).size(), 4U);
    EXPECT_THAT(found({"--object", "0xffffffffffffffff:0x32:0x33"}), ElementsAre("base_1_net_h_0 1"));
    EXPECT_THAT(found({"--subject", "/usr/bin/a", "--object", "0xffffffffffffffff:0:9"}, 1), IsEmpty());
}

TEST_F(QueryTest, ClassesAndPermissionsAreFoundByNameAndNumber) {
    EXPECT_EQ(found({"--class", "file"}).size(), 5U);
    EXPECT_EQ(found({"--class", "1"}).size(), 5U);
    EXPECT_THAT(found({"--class", "0x3"}), ElementsAre("base_0_ns_g_0 0"));
    EXPECT_EQ(found({"--perm", "write"}).size(), 5U);
    EXPECT_EQ(found({"--class", "file", "--perm", "2"}).size(), 5U);
    EXPECT_THAT(found({"--class", "file", "--perm", "read"}, 1), IsEmpty());
    EXPECT_THAT(found({"--perm", "4"}), ElementsAre("base_0_ns_g_0 0"));
}

TEST_F(QueryTest, NamespacesAreFoundByNameAndNumber) {
    EXPECT_EQ(found({"--namespace", "net"}).size(), 6U);
    EXPECT_EQ(found({"--namespace", "4075427327"}).size(), 6U);
    EXPECT_THAT(found({"--namespace", "nothing"}, 1), IsEmpty());
}

TEST_F(QueryTest, GroupsAreFoundAsFarAsFileNamesTell) {
    EXPECT_THAT(found({"--group", "h"}), ElementsAre("base_0_net_h_0 0", "base_1_net_h_0 0", "base_1_net_h_0 1"));
    EXPECT_THAT(found({"--group", "nothing"}, 1), IsEmpty());
    put("x_0_net_1_net_h_0", "policy-plain");
    EXPECT_EQ(found({"--group", "h"}).size(), 4U) << "one reading of the name is h";
    EXPECT_THAT(found({"--group", "1_net_h"}), ElementsAre("x_0_net_1_net_h_0 0"));
}

TEST_F(QueryTest, AllThatIsAskedForMustHold) {
    EXPECT_THAT(found({"--subject", "/usr/bin/a", "--object", "/srv/x", "--class", "file", "--perm", "write",
                       "--namespace", "net", "--group", "g"}),
                ElementsAre("base_0_net_g_0 0", "base_1_net_g_0 0"));
}

TEST_F(QueryTest, UnknownNamesAreTroubleAndSayWhatToDo) {
    for (const auto& [flag, advice] :
         std::vector<std::pair<std::string, std::string>>{{"--subject", "give three words as in 0x1:0x2:0x3"},
                                                          {"--object", "give three words as in 0x1:0x2:0x3"},
                                                          {"--class", "give its number"},
                                                          {"--perm", "give its number"}}) {
        const Outcome outcome = tool({"query", kSet, flag, "nobody"});
        EXPECT_EQ(outcome.status, 2) << flag;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr(advice));
    }
}

TEST_F(QueryTest, EmptyValuesAreMistakesOfTheCommandLine) {
    for (const auto& [flag, advice] : std::vector<std::pair<std::string, std::string>>{
             {"--subject", "give a name of the label table, or three words"},
             {"--object", "give a name of the label table, or three words"},
             {"--class", "give the name or the number of a permission class"},
             {"--perm", "give the name or the number of a permission"},
             {"--namespace", "give the name or the number of a namespace"}}) {
        const Outcome outcome = tool({"query", kSet, flag, ""});
        EXPECT_EQ(outcome.status, 2) << flag;
        EXPECT_EQ(outcome.out, "") << flag;
        EXPECT_THAT(outcome.err, HasSubstr(flag + ": the value is empty: " + advice)) << flag;
        const Outcome joined = tool({"query", kSet, "--json", flag + "="});
        EXPECT_EQ(joined.status, 2) << flag;
        EXPECT_EQ(parse(joined.out)["exitName"].asString(), "usage") << flag;
    }
}

TEST_F(QueryTest, EmptyGroupFindsRecordsWithoutAGroup) {
    put("base_2_net__0", "policy-plain");
    EXPECT_THAT(found({"--group", ""}), ElementsAre("base_2_net__0 0"));
    std::remove(at("base_2_net__0").c_str());
    EXPECT_THAT(found({"--group", ""}, 1), IsEmpty());
}

TEST_F(QueryTest, TextIsThatOfInspect) {
    const Outcome outcome = tool({"query", kSet, "--group", "h", "--object", "0xffffffffffffffff:50:51"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::StartsWith(at("base_1_net_h_0") + ": record 1 at offset 160\n"
                                                                        "  policy type  2 (special object)\n"
                                                                        "  subject      0x11:0x12:0x13\n"));
}

TEST_F(QueryTest, JsonIsOneObject) {
    const Json::Value object = parse(tool({"query", "--json", kSet, "--group", "h"}).out);
    EXPECT_EQ(object["records"].size(), 3U);
    EXPECT_EQ(object["records"][2]["record"].asInt(), 1);
    EXPECT_EQ(object["exitName"].asString(), "found");
    const Json::Value none = parse(tool({"query", "--json", kSet, "--group", "nothing"}).out);
    EXPECT_EQ(none["records"].size(), 0U);
    EXPECT_EQ(none["exitCode"].asInt(), 1);
}

TEST_F(QueryTest, LongRecordIsCutAndSaysSo) {
    putLongRecord();
    const Outcome text = tool({"query", at("base_0_net_g_0")});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_LT(text.out.size(), 3 * tarnmessage::kMostExpressionText + 5 * longrecord::kNameBytes);
    EXPECT_THAT(text.out, HasSubstr(" ... (2755 more)\n"));
    for (const char* form : {"--json", "--jsonl"}) {
        const Outcome outcome = tool({"query", form, at("base_0_net_g_0")});
        EXPECT_LT(outcome.out.size(), 4 * tarnmessage::kMostExpressionText + 6 * longrecord::kNameBytes) << form;
        EXPECT_THAT(outcome.out, HasSubstr("\"truncated\":true,\"omitted\":{\"infix\":2755,")) << form;
    }
}

TEST_F(QueryTest, OutputDoesNotGrowWithRecordsTimesNames) {
    putLongNames();
    for (const char* form : {"", "--json", "--jsonl"}) {
        const Outcome outcome =
            shell("\"$0\" query " + std::string(kSet) + " --namespace 4075427327 " + form + " | wc -c");
        EXPECT_LT(std::stoul(outcome.out), 30U << 20U) << form;
        EXPECT_GT(std::stoul(outcome.out), 100U * kManyRecords) << form;
    }
}

TEST_F(QueryTest, DamagedMessagesAreTroubleForTheyHideRecords) {
    testfiles::write(at("base_1_net_h_0"), withWord(golden::message("policy-pairs"), 160, 7));
    const Outcome outcome = tool({"query", kSet, "--group", "h"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.out, HasSubstr("base_0_net_h_0: record 0"));
    EXPECT_THAT(outcome.err, HasSubstr("base_1_net_h_0 was not searched to its end: offset 160: wrong magic number"));
    EXPECT_EQ(tool({"query", "/etc/tarn/nothing"}).status, 2);
}

TEST_F(QueryTest, ReaderThatGoesAwayEndsItQuietly) {
    for (int file = 0; file < 20; ++file) {
        testfiles::write(at("many_0_net_g_" + std::to_string(file)), plainMessage(2000, 1));
    }
    const Outcome outcome = shell("\"$0\" query " + std::string(kSet) + " | head -1 >/dev/null; echo ${PIPESTATUS[0]}");
    EXPECT_EQ(outcome.out, "0\n");
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
