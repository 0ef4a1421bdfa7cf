// Symbolic links among the files of a set: the sender passes over them, and so does every verb that looks at sets.
#include "SetFixture.h"

namespace {

using namespace settest;
using testing::HasSubstr;

const std::string kWarning = std::string("tarn-policy: warning: ") + kSet +
                             ": 1 symbolic link is no part of the set and passed over, as the sender does\n";

class LinksTest : public SetTest {
protected:
    void SetUp() override {
        putSet();
        putSideFiles();
    }
    static void putLink() {
        testfiles::write("/etc/tarn/elsewhere", "no message");
        testfiles::link("/etc/tarn/elsewhere", at("base_2_net_g_0"));
    }

    // The verb says the same with the link as without it, and mentions it once.
    static void expectPassedOver(const std::vector<std::string>& words, int status = 0) {
        const Outcome without = tool(words);
        EXPECT_EQ(without.err, "");
        putLink();
        const Outcome with = tool(words);
        EXPECT_EQ(with.status, status) << with.out;
        EXPECT_EQ(with.out, without.out);
        EXPECT_EQ(with.err, kWarning);
    }
};

TEST_F(LinksTest, InspectPassesOverThem) {
    expectPassedOver({"inspect", kSet});
}

TEST_F(LinksTest, HexPassesOverThem) {
    expectPassedOver({"inspect", "--hex", kSet});
}

TEST_F(LinksTest, JsonLinesPassOverThem) {
    expectPassedOver({"inspect", "--jsonl", kSet});
}

TEST_F(LinksTest, JsonHasThemAsAWarning) {
    putLink();
    const Json::Value object = parse(tool({"inspect", "--json", kSet}).out);
    EXPECT_EQ(object["messages"].size(), 7U);
    ASSERT_EQ(object["warnings"].size(), 1U);
    EXPECT_THAT(object["warnings"][0].asString(), HasSubstr("1 symbolic link is no part of the set"));
}

TEST_F(LinksTest, StatPassesOverThem) {
    expectPassedOver({"stat", kSet});
}

TEST_F(LinksTest, QueryPassesOverThem) {
    expectPassedOver({"query", kSet, "--group", "g"});
}

TEST_F(LinksTest, DigestPassesOverThem) {
    expectPassedOver({"digest", kSet});
}

TEST_F(LinksTest, DiffPassesOverThem) {
    putLink();
    const Outcome outcome = tool({"diff", kSet, kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, kWarning + kWarning) << "once for each of the two sets";
}

TEST_F(LinksTest, VerifyNamesEachOfThem) {
    putLink();
    const Outcome outcome = tool({"verify", "--copy", kSet});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, at("base_2_net_g_0") +
                               ": notice: is a symbolic link, which is never followed, expected a regular file "
                               "[symbolic-link]\n" +
                               kSet + ": 7 messages, 5 records, 998 bytes: the kernel would take it, 1 notice\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(LinksTest, LinkFillsNoGapInASeries) {
    testfiles::write(at("base_0_net_g_2"), plainMessage(1, 100));
    testfiles::link(at("base_0_net_g_0"), at("base_0_net_g_1"));
    EXPECT_THAT(tool({"verify", "--copy", kSet}).out,
                HasSubstr("base_0_net_g_2: notice: its series has no file before"));
}

TEST_F(LinksTest, LinkInPlaceOfAFrameMessageStopsTheSenderAndIsRefused) {
    std::remove(at("endmsg").c_str());
    testfiles::link(at("beginmsg"), at("endmsg"));
    EXPECT_EQ(tool({"verify", "--copy", kSet}).status, 1);
    EXPECT_EQ(tool({"inspect", kSet}).status, 1);
    EXPECT_EQ(tool({"stat", kSet}).status, 1);
    EXPECT_EQ(tool({"digest", kSet}).status, 1);
    EXPECT_EQ(tool({"query", kSet}).status, 2);
    EXPECT_EQ(tool({"diff", kSet, kSet}).status, 2);
}

}  // namespace
