// stat: counts of what stands in a set, as text, JSON and a page.
#include <sys/stat.h>

#include <map>

#include "SetFixture.h"

namespace {

using namespace settest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class StatTest : public SetTest {
protected:
    void SetUp() override {
        putSet();
        putSideFiles();
    }

    static std::map<std::string, unsigned int> counts(const Json::Value& object, const char* member) {
        std::map<std::string, unsigned int> found;
        for (const Json::Value& bar : object["counts"][member]) {
            found[bar["name"].asString()] = bar["count"].asUInt();
        }
        return found;
    }
    static constexpr char kPage[] = "/etc/tarn/copy/page.html";
};

TEST_F(StatTest, CountsByEveryColumn) {
    put("base_0_ns_g_0", "policy-special");
    const Outcome outcome = tool({"stat", "--json", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parse(outcome.out);
    EXPECT_EQ(object["files"].asInt(), 8);
    EXPECT_EQ(object["records"].asInt(), 6);
    EXPECT_EQ(object["bytes"].asInt(), 998 + 124);
    using Counts = std::map<std::string, unsigned int>;
    EXPECT_EQ(counts(object, "namespaces"), (Counts{{"net", 6}}));
    EXPECT_EQ(counts(object, "groups"), (Counts{{"g", 2}, {"h", 3}, {"not told", 1}}));
    EXPECT_EQ(counts(object, "classes"), (Counts{{"file", 5}, {"3", 1}}));
    EXPECT_EQ(counts(object, "permissions"), (Counts{{"file:write", 5}, {"3:4", 1}}));
    EXPECT_EQ(counts(object, "records")["base_1_net_h_0"], 2U);
    EXPECT_EQ(counts(object, "bytes")["namemsg"], 93U);
    EXPECT_EQ(counts(object, "sizes")["below 128"], 2U);
    EXPECT_EQ(counts(object, "sizes")["below 256"], 4U);
}

TEST_F(StatTest, FillIsByRecordsOrBytes) {
    testfiles::write(at("many_0_net_g_0"), plainMessage(10000, 1));
    testfiles::write(at("many_0_net_g_1"), plainMessage(5000, 1));
    const Json::Value object = parse(tool({"stat", "--json", kSet}).out);
    EXPECT_EQ(counts(object, "fill")["90 % and more"], 1U);
    EXPECT_EQ(counts(object, "fill")["50 % and more"], 1U);
    EXPECT_EQ(counts(object, "fill")["0 % and more"], 4U);
}

TEST_F(StatTest, TextHasABarForEach) {
    const Outcome outcome = tool({"stat", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(std::string(kSet) + ": 7 files, 5 records, 998 bytes\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Records by group\n"
                                       "  h                                                 3 "
                                       "########################################\n"
                                       "  g                                                 2 "
                                       "##########################\n"));
}

TEST_F(StatTest, PageHasEverythingAndLoadsNothing) {
    const Outcome outcome = tool({"stat", kSet, "--html", kPage});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string page = testfiles::read(kPage);
    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(page, AllOf(HasSubstr("<td>base_1_net_h_0</td><td>h</td><td>net</td><td>file</td><td>file:write</td>"
                                      "<td class=\"number\">2</td>"),
                            HasSubstr("<h2>Records by class</h2>"), HasSubstr("default-src 'none'")));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("http:")), Not(HasSubstr("https:")), Not(HasSubstr("src=")),
                            Not(HasSubstr("href=")), Not(HasSubstr("@import"))));
}

TEST_F(StatTest, PageHasTheModeOfAnyNewFile) {
    EXPECT_EQ(shell("umask 027; \"$0\" stat " + std::string(kSet) + " --html " + kPage).status, 0);
    struct stat status {};
    ASSERT_EQ(stat(kPage, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(StatTest, PageTakesThePlaceOfAnOlderOneAndOfNothingElse) {
    testfiles::write(kPage, "old");
    EXPECT_EQ(tool({"stat", kSet, "--html", kPage}).status, 0);
    EXPECT_THAT(testfiles::read(kPage), testing::StartsWith("<!DOCTYPE html>"));
    const std::string link = std::string(kFolder) + "/link.html";
    testfiles::link("/etc/tarn/copy/scene_info", link);
    for (const std::string& path : {link, std::string(kSet), std::string("/dev/null")}) {
        const Outcome outcome = tool({"stat", kSet, "--html", path});
        EXPECT_EQ(outcome.status, 2) << path;
        EXPECT_THAT(outcome.err, HasSubstr("cannot write " + path + ": something that is no regular file has this"));
    }
    EXPECT_EQ(testfiles::read("/etc/tarn/copy/scene_info"), "4075427327:net\n");
}

TEST_F(StatTest, PageIsNotWrittenThroughLinksBesideIt) {
    testfiles::link("/etc/tarn/copy/scene_info", std::string(kPage) + ".new");
    EXPECT_EQ(tool({"stat", kSet, "--html", kPage}).status, 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/copy/scene_info"), "4075427327:net\n");
}

// A file may not grow beyond 4 KiB here, as on a full disk.
TEST_F(StatTest, PageThatCanNotBeFinishedLeavesNothing) {
    const std::vector<std::string> before = testfiles::list(kFolder);
    const Outcome outcome =
        shell("trap '' XFSZ; ulimit -f 4; exec \"$0\" stat " + std::string(kSet) + " --html " + kPage);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write /etc/tarn/copy/page.html: File too large"));
    EXPECT_EQ(testfiles::list(kFolder), before);
}

TEST_F(StatTest, PageInAFolderThatIsNotOursIsTrouble) {
    ASSERT_EQ(chmod(kFolder, 0555), 0);
    // Without its capabilities root is held by modes, too.
    const Outcome outcome =
        shell("exec setpriv --bounding-set=-all \"$0\" stat " + std::string(kSet) + " --html " + kPage);
    ASSERT_EQ(chmod(kFolder, 0755), 0);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write /etc/tarn/copy/page.html: Permission denied"));
}

TEST_F(StatTest, NamesCanNotBreakThePage) {
    put("<script>alert(1)<&\">_0_net_g_0", "policy-plain");
    EXPECT_EQ(tool({"stat", kSet, "--html", kPage}).status, 0);
    const std::string page = testfiles::read(kPage);
    EXPECT_THAT(page, HasSubstr("<td>&lt;script&gt;alert(1)&lt;&amp;&quot;&gt;_0_net_g_0</td>"));
    EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
}

TEST_F(StatTest, PageThatCanNotBeWrittenIsTrouble) {
    const Outcome outcome = tool({"stat", kSet, "--html", "/etc/tarn/nothing/page.html"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write /etc/tarn/nothing/page.html: No such file or directory"));
}

TEST_F(StatTest, DamagedMessagesAreCountedAsFarAsTheyAreSound) {
    testfiles::write(at("base_1_net_h_0"), withWord(golden::message("policy-pairs"), 160, 7));
    const Outcome outcome = tool({"stat", "--json", kSet});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(parse(outcome.out)["records"].asInt(), 4);
    EXPECT_THAT(outcome.err, HasSubstr("base_1_net_h_0 is not counted to its end: offset 160"));
    EXPECT_EQ(tool({"stat", "/etc/tarn/nothing"}).status, 2);
}

}  // namespace
