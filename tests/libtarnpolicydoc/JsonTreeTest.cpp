#include "libtarnpolicydoc/JsonTree.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "Common/Handles.h"
#include "support/Files.h"

namespace {

using namespace policydoc;

constexpr char kFile[] = "/etc/tarn/tree.json";

ParseResult parseText(const std::string& text, JsonNode& root, JsonError& error, const RuleSink& sink = RuleSink()) {
    testfiles::write(kFile, text);
    const UniqueFd fd(open(kFile, O_RDONLY | O_CLOEXEC));
    return parseDocument(fd.get(), sink, root, error);
}

TEST(JsonTreeTest, KnowsTheLineOfEveryValue) {
    JsonNode root;
    JsonError error;
    ASSERT_EQ(parseText("{\n\"a\": [\n1,\n\n\"x\"],\n\"b\":\ntrue}", root, error), ParseResult::kComplete);
    EXPECT_EQ(root.line, 1U);
    EXPECT_EQ(root.member("a")->line, 2U);
    EXPECT_EQ(root.member("a")->children[0].line, 3U);
    EXPECT_EQ(root.member("a")->children[1].line, 5U);
    EXPECT_EQ(root.member("b")->line, 7U);
    EXPECT_EQ(root.member("c"), nullptr);
}

TEST(JsonTreeTest, KeepsTheDigitsOfNumbers) {
    JsonNode root;
    JsonError error;
    ASSERT_EQ(parseText("[18446744073709551615, -9223372036854775808, 1.50, 1e2, 123456789012345678901234567890]", root,
                        error),
              ParseResult::kComplete);
    std::vector<std::string> texts;
    for (const JsonNode& child : root.children) {
        EXPECT_EQ(child.kind, JsonKind::kNumber);
        texts.push_back(child.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"18446744073709551615", "-9223372036854775808", "1.50", "1e2",
                                               "123456789012345678901234567890"}));
}

TEST(JsonTreeTest, KeepsMembersOfOneName) {
    JsonNode root;
    JsonError error;
    ASSERT_EQ(parseText(R"({"a":1,"a":2})", root, error), ParseResult::kComplete);
    ASSERT_EQ(root.children.size(), 2U);
    EXPECT_EQ(root.member("a")->text, "1");
}

TEST(JsonTreeTest, HandsRulesOverInsteadOfKeepingThem) {
    JsonNode root;
    JsonError error;
    std::vector<std::string> seen;
    const auto sink = [&seen](const std::string& group, std::uint32_t index, const JsonNode& rule) {
        seen.push_back(group + "/" + std::to_string(index) + "/" + std::to_string(rule.children.size()));
        return true;
    };
    const std::string text =
        R"({"groups":{"a":{"rules":[{"x":[1,{"y":2}]},{}]},"b":{"rules":[[1,2]],"words":[1]}},"rules":[{}]})";
    ASSERT_EQ(parseText(text, root, error, sink), ParseResult::kComplete);
    EXPECT_EQ(seen, (std::vector<std::string>{"a/0/1", "a/1/0", "b/0/2"}));
    EXPECT_EQ(root.member("groups")->children[0].member("rules")->streamed, 2U);
    EXPECT_TRUE(root.member("groups")->children[0].member("rules")->children.empty());
    EXPECT_EQ(root.member("groups")->children[1].member("words")->children.size(), 1U);
    EXPECT_EQ(root.member("rules")->children.size(), 1U);
}

TEST(JsonTreeTest, CountsRulesThatNobodyAsksFor) {
    JsonNode root;
    JsonError error;
    ASSERT_EQ(parseText(R"({"groups":{"a":{"rules":[{"x":[1,{"y":2}]},7,{}]}},"b":3})", root, error),
              ParseResult::kComplete);
    EXPECT_EQ(root.member("groups")->children[0].member("rules")->streamed, 3U);
    EXPECT_EQ(root.member("b")->text, "3");
}

TEST(JsonTreeTest, StopsWhenTheSinkSaysSo) {
    JsonNode root;
    JsonError error;
    int seen = 0;
    const auto sink = [&seen](const std::string&, std::uint32_t, const JsonNode&) { return ++seen < 2; };
    EXPECT_EQ(parseText(R"({"groups":{"a":{"rules":[{},{},{}]}}} broken)", root, error, sink), ParseResult::kStopped);
    EXPECT_EQ(seen, 2);
}

TEST(JsonTreeTest, SaysWhereTheTextIsBroken) {
    JsonNode root;
    JsonError error;
    EXPECT_EQ(parseText("{\n  \"a\": 1,\n  x\n}", root, error), ParseResult::kBroken);
    EXPECT_EQ(error.line, 3U);
    EXPECT_EQ(error.column, 3U);
    EXPECT_FALSE(error.what.empty());
}

TEST(JsonTreeTest, RefusesWhatIsNoText) {
    JsonNode root;
    JsonError error;
    for (const std::string& text : {std::string(), std::string("{} {}"), std::string("{}\0", 3), std::string("\0{}", 3),
                                    std::string("[\"\xC3\"]"), std::string("[01]"), std::string("[1,]"),
                                    std::string("[NaN]"), std::string("{\"a\":1 /* x */}")}) {
        EXPECT_EQ(parseText(text, root, error), ParseResult::kBroken) << text;
    }
}

TEST(JsonTreeTest, BoundsTheDepth) {
    JsonNode root;
    JsonError error;
    EXPECT_EQ(parseText(std::string(200, '[') + std::string(200, ']'), root, error), ParseResult::kComplete);
    EXPECT_EQ(parseText(std::string(201, '[') + std::string(201, ']'), root, error), ParseResult::kBroken);
    EXPECT_EQ(error.what, "nested deeper than 200 levels");
    const std::string hidden(100000, '[');
    EXPECT_EQ(parseText(R"({"groups":{"a":{"rules":[)" + hidden, root, error), ParseResult::kBroken);
}

TEST(JsonTreeTest, CountsLinesOfALineFromItsNumber) {
    JsonNode root;
    JsonError error;
    ASSERT_EQ(parseLine(R"({"a": 1})", 17, root, error), ParseResult::kComplete);
    EXPECT_EQ(root.member("a")->line, 17U);
    EXPECT_EQ(parseLine(R"({"a": })", 17, root, error), ParseResult::kBroken);
    EXPECT_EQ(error.line, 17U);
}

}  // namespace
