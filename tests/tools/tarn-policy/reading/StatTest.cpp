// stat: counts of what stands in a set, as text, JSON and a page.
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
    EXPECT_FALSE(testfiles::exists(std::string(kPage) + ".new"));
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
