// Names of files and folders may hold any bytes: none of the verbs that look at sets hands them to a terminal as they are, and
// in JSON all of them come back.
#include <algorithm>
#include <filesystem>

#include "SetFixture.h"

namespace {

using namespace settest;
using testing::AllOf;
using testing::HasSubstr;

constexpr char kName[] = "a\n\x1b[2J\xff_0_net_g_0";
constexpr char kEscaped[] = R"(a\x0a\x1b[2J\xff_0_net_g_0)";
constexpr char kNameHex[] = "610a1b5b324aff5f305f6e65745f675f30";

MATCHER(IsForTerminals, "has nothing but printable ASCII and line feeds") {
    return std::all_of(arg.begin(), arg.end(), [](char byte) { return byte == '\n' || (byte >= ' ' && byte <= '~'); });
}

class EscapedNamesTest : public SetTest {
protected:
    void SetUp() override {
        putSet();
        putSideFiles();
        std::filesystem::rename(at("base_0_net_g_0"), at(kName));
    }
    static void damage() { testfiles::write(at(kName), withWord(golden::message("policy-plain"), 20, 7)); }

    // A run whose words are fit for terminals.
    static Outcome run(const std::vector<std::string>& words) {
        Outcome outcome = tool(words);
        EXPECT_THAT(outcome.out, IsForTerminals());
        EXPECT_THAT(outcome.err, IsForTerminals());
        return outcome;
    }
    static std::string hexEnd(const Json::Value& object, const char* member) {
        const std::string hex = object[member].asString();
        return hex.substr(hex.size() - std::min(hex.size(), std::strlen(kNameHex)));
    }
};

TEST_F(EscapedNamesTest, InspectEscapesThem) {
    EXPECT_THAT(run({"inspect", kSet}).out, HasSubstr(at(kEscaped) + ": policy message, 124 bytes, 1 record\n"));
    damage();
    EXPECT_THAT(run({"inspect", kSet}).out, HasSubstr(at(kEscaped) + ": unsound: offset 20"));
}

TEST_F(EscapedNamesTest, HexHasThemInComments) {
    EXPECT_THAT(run({"inspect", "--hex", kSet}).out, HasSubstr("# " + at(kEscaped) + ": policy message"));
    EXPECT_EQ(golden::bytesOf(run({"inspect", "--hex", at(kName)}).out), golden::message("policy-plain"));
    damage();
    const Outcome outcome = run({"inspect", "--hex", at(kName)});
    EXPECT_THAT(outcome.out, HasSubstr("\n# " + at(kEscaped) + ": unsound: offset 20"));
    EXPECT_EQ(golden::bytesOf(outcome.out), testfiles::read(at(kName)));
}

TEST_F(EscapedNamesTest, JsonOfInspectHasTheirBytes) {
    const Json::Value object = parse(tool({"inspect", "--json", kSet}).out);
    EXPECT_EQ(hexEnd(object["messages"][2], "pathHex"), kNameHex);
    EXPECT_FALSE(object["messages"][3].isMember("pathHex"));
    const std::vector<Json::Value> lines = parseLines(tool({"inspect", "--jsonl", kSet}).out);
    EXPECT_EQ(hexEnd(lines[3], "pathHex"), kNameHex);
    EXPECT_EQ(hexEnd(lines[4], "pathHex"), kNameHex);
}

TEST_F(EscapedNamesTest, GroupsThatAreNoTextComeBack) {
    put("base_0_net_\xff_0", "policy-plain");
    const Json::Value record =
        parse(tool({"inspect", "--json", at("base_0_net_\xff_0")}).out)["messages"][0]["records"][0];
    EXPECT_EQ(record["groups"][0].asString(), "\xef\xbf\xbd");
    EXPECT_EQ(record["groupsHex"][0].asString(), "ff");
    EXPECT_THAT(run({"inspect", at("base_0_net_\xff_0")}).out, HasSubstr("  group        \\xff\n"));
}

TEST_F(EscapedNamesTest, VerifyEscapesThem) {
    testfiles::write(at(kName), withWord(golden::message("policy-plain"), 84, 9));
    EXPECT_THAT(run({"verify", "--copy", kSet}).out, HasSubstr(at(kEscaped) + ":20: notice: class 9, expected"));
    const Json::Value finding = parse(tool({"verify", "--copy", "--json", kSet}).out)["findings"][0];
    EXPECT_EQ(hexEnd(finding, "pathHex"), kNameHex);
}

TEST_F(EscapedNamesTest, VerifyEscapesTheNameOfTheOtherRecordAndOfTheMissingFile) {
    put("b", "policy-plain");
    EXPECT_THAT(run({"verify", "--copy", kSet}).out,
                HasSubstr("the same record stands in " + at(kEscaped) + " at offset 20"));
    std::filesystem::rename(at(kName), at("a\n_0_net_g_2"));
    EXPECT_THAT(run({"verify", "--copy", kSet}).out,
                HasSubstr(R"(expected the file a\x0a_0_net_g_1 [missing-before])"));
}

TEST_F(EscapedNamesTest, QueryEscapesThem) {
    EXPECT_THAT(run({"query", kSet}).out, HasSubstr(at(kEscaped) + ": record 0 at offset 20\n"));
    EXPECT_EQ(hexEnd(parse(tool({"query", "--json", kSet}).out)["records"][0], "pathHex"), kNameHex);
    damage();
    EXPECT_THAT(run({"query", kSet}).err, HasSubstr(at(kEscaped) + " was not searched to its end"));
    EXPECT_THAT(run({"query", kSet, "--class", "\n\x1b"}).err, HasSubstr(R"(cannot look up the class \x0a\x1b:)"));
}

TEST_F(EscapedNamesTest, StatEscapesThem) {
    EXPECT_THAT(run({"stat", kSet}).out, HasSubstr(std::string("\n  ") + kEscaped + " "));
    const Json::Value counts = parse(tool({"stat", "--json", kSet}).out)["counts"];
    for (const char* member : {"records", "bytes"}) {
        const bool isThere = std::any_of(counts[member].begin(), counts[member].end(),
                                         [](const Json::Value& bar) { return bar["nameHex"] == kNameHex; });
        EXPECT_TRUE(isThere) << member;
    }
    damage();
    EXPECT_THAT(run({"stat", kSet}).err, HasSubstr(at(kEscaped) + " is not counted to its end"));
}

TEST_F(EscapedNamesTest, DiffAndDigestEscapeThem) {
    damage();
    EXPECT_THAT(run({"diff", kSet, kSet}).err, HasSubstr(std::string(kEscaped) + ": offset 20"));
    EXPECT_THAT(run({"digest", kSet}).err, HasSubstr(std::string(kEscaped) + ": offset 20"));
}

TEST_F(EscapedNamesTest, EveryVerbEscapesThePath) {
    const std::string folder = "/etc/tarn/co\n\x1bpy";
    const std::string escaped = R"(/etc/tarn/co\x0a\x1bpy)";
    std::filesystem::rename(kFolder, folder);
    testfiles::write(folder + "/scene_info", "bad\n");
    std::filesystem::remove(folder + "/policydata/" + kName);
    const std::string set = folder + "/policydata";
    EXPECT_THAT(run({"stat", set}).out, testing::StartsWith(escaped + "/policydata: 6 files"));
    EXPECT_THAT(run({"verify", "--copy", set}).out, testing::StartsWith(escaped + "/policydata: 6 messages"));
    for (const char* verb : {"inspect", "verify", "stat", "query", "digest"}) {
        EXPECT_THAT(run({verb, set}).err, HasSubstr("warning: ")) << verb;
        EXPECT_THAT(run({verb, set}).err, HasSubstr(escaped + "/scene_info: line 1 is skipped")) << verb;
        EXPECT_THAT(run({verb, folder + "/nothing"}).err, HasSubstr(escaped + "/nothing: ")) << verb;
    }
    for (const std::string page : {"/none/page.html", "/policydata"}) {
        EXPECT_THAT(run({"stat", set, "--html", folder + page}).err,
                    HasSubstr("cannot write " + escaped + page + ": "));
    }
    EXPECT_THAT(run({"diff", set, folder + "/nothing"}).err, HasSubstr("rules of " + escaped + "/nothing: "));
    EXPECT_THAT(run({"query", set, "--labels", folder + "/none"}).err, HasSubstr(escaped + "/none: No such file"));
    EXPECT_THAT(run({"diff", set, set, "--labels", folder + "/none"}).err, HasSubstr(escaped + "/none: No such file"));
}

}  // namespace
