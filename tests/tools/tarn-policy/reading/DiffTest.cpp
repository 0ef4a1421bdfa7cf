// diff: the rules that were added, removed and changed, as text and JSON, and its exit statuses.
#include <filesystem>

#include "SetFixture.h"
#include "libtarnmessage/MessageText.h"

namespace {

using namespace settest;
using testing::AllOf;
using testing::HasSubstr;

constexpr char kOld[] = "/etc/tarn/old/policydata";

class DiffTest : public SetTest {
protected:
    void SetUp() override {
        putSet();
        putSideFiles();
        std::filesystem::create_directories("/etc/tarn/old");
        std::filesystem::copy(kFolder, "/etc/tarn/old", std::filesystem::copy_options::recursive);
    }

    static constexpr char kIdentity[] =
        "subject=0x11:0x12:0x13 object=0x21:0x22:0x23 class=1(file) perm=2(write) namespace=net";

    // A set whose only policy message is this one.
    static void putOnly(const std::string& folder, const std::string& bytes) {
        for (const std::string& name : testfiles::list(folder)) {
            if (name.find("msg") == std::string::npos) {
                std::filesystem::remove(folder + "/" + name);
            }
        }
        testfiles::write(folder + "/base_0_net_g_0", bytes);
    }
};

TEST_F(DiffTest, SameRulesGiveNoOutputAndStatus0) {
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    const Json::Value object = parse(tool({"diff", "--json", kOld, kSet}).out);
    EXPECT_EQ(object["exitName"].asString(), "same");
    EXPECT_TRUE(object["differences"].isArray());
    EXPECT_EQ(object["differences"].size(), 0U);
}

TEST_F(DiffTest, OtherFilesAndNamesAreNoDifference) {
    std::filesystem::rename(at("base_0_net_g_0"), at("x"));
    std::filesystem::rename(at("base_1_net_h_0"), at("a_0_net_other_9"));
    EXPECT_EQ(tool({"diff", kOld, kSet}).status, 0);
}

TEST_F(DiffTest, AddedRuleIsALineAndStatus1) {
    putOnly(kOld, golden::message("policy-condition"));
    putOnly(kSet, golden::message("policy-condition"));
    put("base_1_net_g_0", "policy-pairs");
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              std::string("+ ") + kIdentity +
                  " attrA=0 attrB=0 ext=0,0,0,0 condition={1} actions={netmod:log()}\n"
                  "+ subject=0x11:0x12:0x13 object=0xffffffffffffffff:0x32:0x33 class=1(file) perm=2(write) "
                  "namespace=net attrA=0 attrB=0 ext=0,0,0,0 condition={1} actions={netmod:log()}\n"
                  "2 added, 0 removed, 0 changed\n");
}

TEST_F(DiffTest, RemovedRuleIsALine) {
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, withWord(golden::message("policy-plain"), 88, 1));
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out,
              "+ subject=0x11:0x12:0x13 object=0x21:0x22:0x23 class=1(file) perm=1(read) namespace=net attrA=0 "
              "attrB=0 ext=0,0,0,0 condition={} actions={}\n- " +
                  std::string(kIdentity) +
                  " attrA=0 attrB=0 ext=0,0,0,0 condition={} actions={}\n1 added, 1 removed, 0 changed\n");
}

TEST_F(DiffTest, ChangedRuleShowsWhatItSaidAndSays) {
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, golden::message("policy-condition"));
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, std::string("! ") + kIdentity +
                               "\n  - attrA=0 attrB=0 ext=0,0,0,0 condition={} actions={}\n"
                               "  + attrA=0 attrB=0 ext=0,0,0,0 condition={(netmod:check(7, \"ab\") op2 not "
                               "net:usb_block[1])} actions={}\n0 added, 0 removed, 1 changed\n");
}

TEST_F(DiffTest, LabelTableNamesIdentifiers) {
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, golden::message("policy-condition"));
    const std::string labels = std::string(kFolder) + "/labels.json";
    EXPECT_THAT(tool({"diff", kOld, kSet, "--labels", labels}).out,
                HasSubstr("subject=0x11:0x12:0x13 (subject_file /usr/bin/a) "
                          "object=0x21:0x22:0x23 (object_file /srv/x) "));
    EXPECT_EQ(tool({"diff", kOld, kSet, "--labels", "/etc/tarn/nothing"}).status, 2);
}

TEST_F(DiffTest, JsonHasEveryDifference) {
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, golden::message("policy-pairs"));
    const Outcome outcome = tool({"diff", "--json", kOld, kSet, "--labels", std::string(kFolder) + "/labels.json"});
    EXPECT_EQ(outcome.status, 1);
    const Json::Value object = parse(outcome.out);
    EXPECT_EQ(object["verb"].asString(), "diff");
    EXPECT_EQ(object["exitCode"].asInt(), 1);
    EXPECT_EQ(object["exitName"].asString(), "different");
    EXPECT_EQ(object["added"].asInt(), 1);
    EXPECT_EQ(object["removed"].asInt(), 0);
    EXPECT_EQ(object["changed"].asInt(), 1);
    ASSERT_EQ(object["differences"].size(), 2U);
    const Json::Value& changed = object["differences"][0];
    EXPECT_EQ(changed["kind"].asString(), "changed");
    EXPECT_EQ(changed["subject"][0].asString(), "0x11");
    EXPECT_EQ(changed["subject"][2].asString(), "0x13");
    EXPECT_EQ(changed["subjectNames"][0].asString(), "subject_file /usr/bin/a");
    EXPECT_EQ(changed["class"].asInt(), 1);
    EXPECT_EQ(changed["classNames"][0].asString(), "file");
    EXPECT_EQ(changed["permNames"][0].asString(), "write");
    EXPECT_EQ(changed["namespaceNames"][0].asString(), "net");
    EXPECT_EQ(changed["old"]["condition"].asString(), "");
    EXPECT_EQ(changed["new"]["condition"].asString(), "1");
    EXPECT_EQ(changed["new"]["actions"].asString(), "netmod:log()");
    EXPECT_EQ(changed["new"]["ext"].size(), 4U);
    const Json::Value& added = object["differences"][1];
    EXPECT_EQ(added["kind"].asString(), "added");
    EXPECT_EQ(added["object"][0].asString(), "0xffffffffffffffff");
    EXPECT_TRUE(added.isMember("new"));
    EXPECT_FALSE(added.isMember("old"));
    EXPECT_FALSE(added["new"].isMember("truncated"));
}

TEST_F(DiffTest, LongRuleIsCutAndSaysSo) {
    constexpr std::uint32_t kPairs = 20000;
    constexpr std::size_t kName = 600;
    testfiles::write(at("namemsg"), longrecord::namespaceMessage(kName));
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, longrecord::policyMessage(kPairs, 0));
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_LT(outcome.out.size(), tarnmessage::kMostExpressionText + 2 * kName + 1000);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr(" op2  ... ("), HasSubstr(" more)} actions={}\n")));
    const Json::Value rule = parse(tool({"diff", "--json", kOld, kSet}).out)["differences"][0]["new"];
    EXPECT_LT(rule["condition"].asString().size(), tarnmessage::kMostExpressionText + 2 * kName);
    EXPECT_TRUE(rule["truncated"].asBool());
    const std::size_t pair = std::strlen("(() op2 ... (345 more bytes)") + tarnmessage::kMostNameBytes;
    EXPECT_EQ(rule["omitted"]["condition"].asUInt(),
              2 * kPairs + 1 - 2 * ((tarnmessage::kMostExpressionText + pair - 1) / pair));
    EXPECT_FALSE(rule["omitted"].isMember("actions"));
}

TEST_F(DiffTest, LongNamesAreCutAndSaySo) {
    putOnly(kOld, golden::message("policy-plain"));
    putOnly(kSet, longrecord::policyMessage(0, 1));
    testfiles::write(at("namemsg"), longrecord::namespaceMessage(kLongName, std::string(kLongName, 'n')));
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_LT(outcome.out.size(), 5000U);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr(" namespace=" + std::string(255, 'n') + "... (499745 more bytes) "),
                                   HasSubstr(" actions={m:" + std::string(253, 'f') + "... (499745 more bytes)()}\n")));
    const std::string json = tool({"diff", "--json", kOld, kSet}).out;
    EXPECT_LT(json.size(), 5000U);
    const Json::Value object = parse(json);
    ASSERT_EQ(object["differences"].size(), 2U);
    for (const Json::Value& rule : object["differences"]) {
        if (rule["kind"].asString() == "added") {
            EXPECT_EQ(rule["namespaceNames"][0].asString(), std::string(255, 'n'));
            EXPECT_EQ(rule["namespaceNamesBytes"][0].asUInt(), kLongName);
        }
    }
}

TEST_F(DiffTest, BriefGivesTheCountsAlone) {
    putOnly(kOld, golden::message("policy-plain"));
    const Outcome outcome = tool({"diff", "--brief", kOld, kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "4 added, 0 removed, 0 changed\n");
    const Json::Value object = parse(tool({"diff", "--brief", "--json", kOld, kSet}).out);
    EXPECT_EQ(object["added"].asInt(), 4);
    EXPECT_FALSE(object.isMember("differences"));
}

TEST_F(DiffTest, DamagedSetIsTrouble) {
    testfiles::write(at("base_1_net_h_0"), withWord(golden::message("policy-pairs"), 160, 7));
    for (const auto& paths : {std::make_pair(kOld, kSet), std::make_pair(kSet, kOld)}) {
        const Outcome outcome = tool({"diff", paths.first, paths.second});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("cannot read the rules of /etc/tarn/copy/policydata: base_1_net_h_0: "
                                           "offset 160: wrong magic number of a record"));
    }
}

TEST_F(DiffTest, MissingPathAndWrongCommandLineAreTrouble) {
    const Outcome outcome = tool({"diff", kOld, "/etc/tarn/nothing"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read the rules of /etc/tarn/nothing: can't be read: No such file"));
    EXPECT_EQ(tool({"diff", kOld}).status, 2);
    const Json::Value object = parse(tool({"diff", "--json", kOld, "/etc/tarn/nothing"}).out);
    EXPECT_EQ(object["exitName"].asString(), "trouble");
    EXPECT_THAT(object["error"]["tried"].asString(), HasSubstr("/etc/tarn/nothing"));
}

TEST_F(DiffTest, NumbersOfNamespacesAndFunctionsAreNoDifference) {
    // The namespace has number 7, and its two functions have changed places.
    const std::string names = golden::message("namespace");
    const std::string entries = names.substr(51, 20) + names.substr(71, 18);
    const std::string turned = withWord(withWord(names.substr(71, 18) + names.substr(51, 20), 0, 1), 18, 2);
    ASSERT_EQ(names.substr(51, 38), entries);
    putOnly(kOld, golden::message("policy-actions"));
    testfiles::write(at("namemsg"), withWord(names.substr(0, 51) + turned + names.substr(89), 24, 7));
    putOnly(kSet, withWord(withWord(withWord(golden::message("policy-actions"), 96, 7), 128, 1), 178, 2));
    const Outcome outcome = tool({"diff", kOld, kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(tool({"digest", kOld}).out, tool({"digest", kSet}).out);
}

TEST_F(DiffTest, ReaderThatGoesAwayEndsItQuietly) {
    for (std::uint64_t file = 0; file < 4; ++file) {
        testfiles::write(at("more_0_net_g_" + std::to_string(file)), plainMessage(5000, 1000000 * (1 + file)));
    }
    for (const char* flag : {"", "--json"}) {
        const Outcome outcome = shell("\"$0\" diff " + std::string(kOld) + " " + kSet + " " + flag +
                                      " | head -1 >/dev/null; echo ${PIPESTATUS[0]}");
        EXPECT_EQ(outcome.out, "1\n") << flag;
        EXPECT_EQ(outcome.err, "") << flag;
    }
}

TEST_F(DiffTest, FullDiskUnderTheOutputIsTrouble) {
    putOnly(kOld, golden::message("policy-plain"));
    const Outcome outcome = shell("\"$0\" diff " + std::string(kOld) + " " + kSet + " >/dev/full");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output: No space left on device"));
}

// More rules than the memory of a sort holds, and no folder to put them.
TEST_F(DiffTest, TemporaryFolderThatIsNoneIsTroubleOnlyWhereItIsNeeded) {
    EXPECT_EQ(shell("TMPDIR=/etc/tarn/nothing \"$0\" diff " + std::string(kOld) + " " + kSet).status, 0);
    for (std::uint64_t file = 0; file < 125; ++file) {
        testfiles::write(at("more_0_net_g_" + std::to_string(file)), plainMessage(10000, 10000 * (1 + file)));
    }
    const Outcome outcome = shell("TMPDIR=/etc/tarn/nothing \"$0\" diff --brief " + std::string(kOld) + " " + kSet);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot make a temporary file in /etc/tarn/nothing: No such file"));
    EXPECT_THAT(outcome.err, HasSubstr("TMPDIR"));
    testfiles::makeDirectories("/etc/tarn/room");
    const Outcome stored = shell("TMPDIR=/etc/tarn/room \"$0\" diff --brief " + std::string(kOld) + " " + kSet);
    EXPECT_EQ(stored.out, "1250000 added, 0 removed, 0 changed\n") << stored.err;
    EXPECT_EQ(testfiles::list("/etc/tarn/room"), std::vector<std::string>{});
}

}  // namespace
