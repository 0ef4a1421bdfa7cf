#include <gtest/gtest.h>

#include "PlanSupport.h"

namespace {

using namespace policydoc;
using namespace plantest;

PlanOptions withThreads(unsigned int threads) {
    PlanOptions options;
    options.threads = threads;
    return options;
}

PlanOptions withoutSplit(unsigned int threads = 1) {
    PlanOptions options = withThreads(threads);
    options.split = false;
    return options;
}

std::vector<std::string> keyNames(const Plan& plan) {
    std::vector<std::string> names;
    for (const PlannedKey& key : plan.keys) {
        names.push_back(key.key);
    }
    return names;
}

TEST(PlanTest, CountsRecordsFilesAndBytesOfAPlainGroup) {
    const PolicyDocument document = documentOf({{"base", {rule("n", "g", 3, 2, 0), rule("n", "g", 1, 1, 0)}}});
    const Plan plan = planOf(document);
    EXPECT_EQ(plan.records, 7U);
    EXPECT_EQ(filesOf(plan.files), (Files{{"base_0_n_g_0", {7, 724}}}));
    EXPECT_EQ(plan.bytes, 724U);
}

TEST(PlanTest, CountsTheNamespaceMessage) {
    // Twice: magic (4), node (24), name (1), function (8 and 3).
    EXPECT_EQ(planOf(documentOf({})).namespaceMessageBytes, 24U + 2 * 40);
}

TEST(PlanTest, ClosesAFileAtTenThousandRecords) {
    EXPECT_EQ(filesOf(planOf(documentOf({{"base", {rule("n", "g", 100, 100, 0)}}})).files),
              (Files{{"base_0_n_g_0", {10000, 1000024}}}));
    EXPECT_EQ(filesOf(planOf(documentOf({{"base", {rule("n", "g", 100, 100, 0), rule("n", "g", 1, 1, 0)}}})).files),
              (Files{{"base_0_n_g_0", {10000, 1000024}}, {"base_0_n_g_1", {1, 124}}}));
}

TEST(PlanTest, SlicesRulesOverThreadsLongerSlicesFirst) {
    const std::vector<std::string> rules(5, rule("n", "g", 1, 1, 0));
    EXPECT_EQ(filesOf(planOf(documentOf({{"base", rules}}), withThreads(3)).files),
              (Files{{"base_0_n_g_0", {2, 224}}, {"base_1_n_g_0", {2, 224}}, {"base_2_n_g_0", {1, 124}}}));
}

TEST(PlanTest, KeepsKeysWhereEverythingFits) {
    const PolicyDocument document =
        documentOf({{"b", {rule("n", "g", 1, 1, 0)}}, {"a", {}}, {"c", {rule("n", "", 1, 1, 0)}}});
    EXPECT_EQ(keyNames(planOf(document)), (std::vector<std::string>{"b", "a", "c"}));
}

TEST(PlanTest, FillsAMessageToTheLastByte) {
    // Records of 1048552 bytes altogether: 524276 twice.
    const std::string half = rule("n", "g", 1, 1, 524276 - 100);
    const Plan plan = planOf(documentOf({{"base", {half, half}}}));
    EXPECT_EQ(filesOf(plan.files), (Files{{"base_0_n_g_0", {2, 1048576}}}));
}

TEST(PlanTest, MovesARuleToANewKeyWhereOneByteIsMissing) {
    const std::string half = rule("n", "g", 1, 1, 524276 - 100);
    const std::string more = rule("n", "g", 1, 1, 524277 - 100);
    const Plan plan = planOf(documentOf({{"base", {half, more}}}));
    EXPECT_EQ(filesOf(plan.files), (Files{{"base_0_n_g_0", {1, 524300}}, {"base.1_0_n_g_0", {1, 524301}}}));
}

TEST(PlanTest, NeverTakesAKeyOfTheDocumentForASplit) {
    const std::string half = rule("n", "g", 1, 1, 600000);
    const PolicyDocument document = documentOf({{"base", {half, half}}, {"base.1", {half}}, {"base.2", {}}});
    EXPECT_EQ(keyNames(planOf(document)), (std::vector<std::string>{"base", "base.3", "base.1", "base.2"}));
}

TEST(PlanTest, NeverGivesASplitTheFileNamesOfAnotherKey) {
    // Key "base.1_0" with namespace "n" in slice 0 and key "base.1" with namespace "0_n": both base.1_0_0_n_g.
    testfiles::write(kDocument, R"({"tarnPolicy":1,"namespaces":{"n":["m:f"],"0_n":["m:f"]},"groups":{
        "base":{"rules":[)" + rule("0_n", "g", 1, 1, 600000) +
                                    "," + rule("0_n", "g", 1, 1, 600000) + R"(]}, "base.1_0":{"rules":[)" +
                                    rule("n", "g", 1, 1, 0) + "]}}}");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document);
    const Plan plan = planOf(*document);
    EXPECT_EQ(
        filesOf(plan.files),
        (Files{{"base_0_0_n_g_0", {1, 600124}}, {"base.2_0_0_n_g_0", {1, 600124}}, {"base.1_0_0_n_g_0", {1, 124}}}));
}

TEST(PlanTest, KeepsMessagesOfOtherGroupsInTheFirstKey) {
    const std::string big = rule("n", "g", 1, 1, 600000);
    const PolicyDocument document =
        documentOf({{"base", {big, big, rule("n", "h", 1, 1, 0), rule("o", "g", 1, 1, 0)}}});
    EXPECT_EQ(filesOf(planOf(document).files), (Files{{"base_0_n_g_0", {1, 600124}},
                                                      {"base.1_0_n_g_0", {1, 600124}},
                                                      {"base_0_n_h_0", {1, 124}},
                                                      {"base_0_o_g_0", {1, 124}}}));
}

TEST(PlanTest, DividesARuleThatIsTooLargeByItselfIntoRowsOfSubjects) {
    // 200 bytes: at most 5242 records in a message; 100 objects each, so 52 subjects at once.
    const PolicyDocument document = documentOf({{"base", {rule("n", "g", 120, 100, 100)}}});
    const Plan plan = planOf(document);
    EXPECT_EQ(plan.dividedRules, std::vector<std::uint32_t>{0});
    EXPECT_EQ(filesOf(plan.files), (Files{{"base_0_n_g_0", {5200, 5200 * 200 + 24}},
                                          {"base.1_0_n_g_0", {5200, 5200 * 200 + 24}},
                                          {"base.2_0_n_g_0", {1600, 1600 * 200 + 24}}}));
}

TEST(PlanTest, DividesOneSubjectsObjectsWhereTheyAreTooMany) {
    const PolicyDocument document = documentOf({{"base", {rule("n", "g", 2, 6000, 100)}}});
    const auto groups = groupsOf(document, planOf(document));
    // 5242 and 758 objects of each subject; 758 and 5242 together are too many for one message.
    ASSERT_EQ(groups.size(), 4U);
    std::size_t records = 0;
    for (const auto& [key, rules] : groups) {
        for (const PolicyNode& node : rules) {
            EXPECT_EQ(node.vecSubjectId.size(), 1U);
            EXPECT_TRUE(node.bSubjectFlag && node.bObjectFlag);
            records += node.vecObjectId.size();
        }
    }
    EXPECT_EQ(records, 12000U);
}

TEST(PlanTest, HandsPartsOverByIdentifierAndWholeRulesByName) {
    const std::string body = R"("class":"file","perm":"read","namespace":"n","group":"g","module":"m",)";
    const std::string action = R"("actions":[{"function":"f","params":[")" + std::string(600000, 'x') + "\"]}]}";
    testfiles::write(kDocument,
                     R"({"tarnPolicy":1,"namespaces":{"n":["m:f"]},"groups":{"base":{"words":[7,8,9],"rules":[
        {"subjects":["/a"],"objects":["/x"],)" +
                         body + action + R"(, {"subjects":["/a"],"objectIds":[[9,9,9]],)" + body + R"("attrA":5}]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document) << toText(diagnostics);
    Labels labels;
    labels.names["subject_file"]["/a"] = {{{1, 0, 0}}, {{2, 0, 0}}};
    labels.names["object_file"]["/x"] = {{{3, 0, 0}}};
    const Plan plan = planOf(*document, {}, labels);
    EXPECT_EQ(plan.records, 4U);
    const auto groups = groupsOf(*document, plan, labels);
    ASSERT_EQ(groups.count("base"), 1U);
    ASSERT_EQ(groups.count("base.1"), 1U);
    const PolicyNode& part = groups.at("base.1").front();
    EXPECT_EQ(part.vecSubjectId.front().uiWord[0], 2U);
    EXPECT_TRUE(part.vecSubjectName.empty());
    const PolicyNode& whole = groups.at("base.1").back();
    EXPECT_FALSE(whole.bSubjectFlag);
    EXPECT_EQ(whole.vecSubjectName, std::vector<std::string>{"/a"});
    EXPECT_TRUE(whole.bObjectFlag);
    EXPECT_EQ(whole.uiAttrA, 5U);
}

TEST(PlanTest, HandsTheThreeWordsOverWithEveryKey) {
    const std::string big = rule("n", "g", 1, 1, 600000);
    testfiles::write(kDocument,
                     R"({"tarnPolicy":1,"namespaces":{"n":["m:f"]},"groups":{"base":{"words":[7,8,9],"rules":[)" + big +
                         "," + big + R"(]}, "none":{"words":[1,2,3]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document);
    std::map<std::string, std::tuple<unsigned, unsigned, unsigned>> words;
    ASSERT_TRUE(handOver(*document, planOf(*document), {}, diagnostics, [&](const std::string& key, PolicyDb& db) {
        words[key] = {db.uiFirst, db.uiSecond, db.uiThird};
        return true;
    }));
    using Words = std::tuple<unsigned, unsigned, unsigned>;
    EXPECT_EQ(words, (std::map<std::string, Words>{{"base", {7, 8, 9}}, {"base.1", {7, 8, 9}}, {"none", {1, 2, 3}}}));
}

TEST(PlanTest, StopsHandingOverWhenTheTakerSaysNo) {
    const PolicyDocument document = documentOf({{"a", {rule("n", "g", 1, 1, 0)}}, {"b", {rule("n", "g", 1, 1, 0)}}});
    Diagnostics diagnostics;
    int taken = 0;
    EXPECT_FALSE(handOver(document, planOf(document), {}, diagnostics, [&taken](const std::string&, PolicyDb&) {
        ++taken;
        return false;
    }));
    EXPECT_EQ(taken, 1);
}

TEST(PlanTest, RefusesToHandOverAChangedDocument) {
    const PolicyDocument document = documentOf({{"a", {rule("n", "g", 1, 1, 0)}}});
    const Plan plan = planOf(document);
    testfiles::write(kDocument, testfiles::read(kDocument) + "\n");
    Diagnostics diagnostics;
    EXPECT_FALSE(handOver(document, plan, {}, diagnostics, [](const std::string&, PolicyDb&) { return true; }));
    EXPECT_TRUE(diagnostics.has("file-changed")) << toText(diagnostics);
}

TEST(PlanTest, ListsRulesWithoutRecords) {
    const PolicyDocument document =
        documentOf({{"a", {rule("n", "g", 1, 1, 0), rule("n", "g", 0, 5, 0)}}, {"b", {rule("n", "g", 5, 0, 0)}}});
    const Plan plan = planOf(document);
    EXPECT_EQ(plan.withoutRecords, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(ruleName(document, plan.rules[1]), "/etc/tarn/policy.json:4 /groups/a/rules/1");
}

TEST(PlanTest, RefusesASingleRecordBeyondTheBound) {
    const std::uint64_t surplus = kRoom - 100;
    const PolicyDocument fits = documentOf({{"a", {rule("n", "g", 1, 1, static_cast<int>(surplus))}}});
    EXPECT_EQ(filesOf(planOf(fits).files), (Files{{"a_0_n_g_0", {1, 1048576}}}));
    const PolicyDocument document = documentOf({{"a", {rule("n", "g", 1, 1, static_cast<int>(surplus) + 1)}}});
    Diagnostics diagnostics;
    EXPECT_FALSE(makePlan(document, {}, {}, diagnostics));
    ASSERT_EQ(diagnostics.mistakes(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "record-size");
    EXPECT_EQ(diagnostics.all()[0].pointer, "/groups/a/rules/0");
}

TEST(PlanTest, WithoutSplittingNamesTheGroupItsSizeAndTheRule) {
    const std::string part = rule("n", "g", 1, 1, 400000);
    const PolicyDocument document =
        documentOf({{"a", {part, part, part, part}}, {"b", {part}}, {"c", {rule("n", "g", 1, 1, 0), part, part}}});
    Diagnostics diagnostics;
    EXPECT_FALSE(makePlan(document, {}, withoutSplit(), diagnostics));
    ASSERT_EQ(diagnostics.all().size(), 1U) << toText(diagnostics);
    const Diagnostic& found = diagnostics.all()[0];
    EXPECT_EQ(found.code, "message-size");
    EXPECT_EQ(found.pointer, "/groups/a/rules/2");
    EXPECT_EQ(found.line, 5U);
    EXPECT_NE(found.message.find("1600400 bytes"), std::string::npos) << found.message;
    EXPECT_NE(found.message.find("key \"a\", namespace \"n\", group \"g\""), std::string::npos) << found.message;
}

TEST(PlanTest, WithoutSplittingTakesWhatFitsWithTheGivenThreads) {
    const std::string part = rule("n", "g", 1, 1, 400000);
    const PolicyDocument document = documentOf({{"a", {part, part, part, part}}});
    Diagnostics diagnostics;
    const auto plan = makePlan(document, {}, withoutSplit(2), diagnostics);
    ASSERT_TRUE(plan) << toText(diagnostics);
    EXPECT_EQ(plan->keys.size(), 1U);
    EXPECT_EQ(filesOf(plan->files), (Files{{"a_0_n_g_0", {2, 800224}}, {"a_1_n_g_0", {2, 800224}}}));
}

TEST(PlanTest, LimitsTheRulesOfAKey) {
    PlanOptions options;
    options.maxRulesPerKey = 2;
    const std::vector<std::string> rules(5, rule("n", "g", 1, 1, 0));
    const Plan plan = planOf(documentOf({{"a", rules}}), options);
    EXPECT_EQ(keyNames(plan), (std::vector<std::string>{"a", "a.1", "a.2"}));
    EXPECT_EQ(plan.keys[2].rules.size(), 1U);
}

TEST(PlanTest, RefusesFilesOfOneName) {
    testfiles::write(kDocument, R"({"tarnPolicy":1,"namespaces":{"a":[],"a_b":[]},"groups":{"k":{"rules":[)" +
                                    rule("a_b", "c", 1, 1, 0) + "," + rule("a", "b_c", 1, 1, 0) + "]}}}");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document);
    EXPECT_FALSE(makePlan(*document, {}, {}, diagnostics));
    EXPECT_TRUE(diagnostics.has("file-name-clash")) << toText(diagnostics);
}

PlanOptions ofSection(unsigned int threads = 1) {
    PlanOptions options = withThreads(threads);
    options.section = MessageGroup{"n", "g"};
    return options;
}

TEST(PlanTest, ASectionTakesItsRulesFromAllKeysInTheirOrder) {
    const PolicyDocument document =
        documentOf({{"b", {rule("n", "g", 3, 1, 0), rule("o", "g", 1, 1, 0)}}, {"a", {rule("n", "g", 2, 1, 0)}}});
    const Plan plan = planOf(document, ofSection(2));
    EXPECT_EQ(plan.records, 5U);
    EXPECT_EQ(filesOf(plan.files), (Files{{"b_n_g_0_n_g_0", {2, 224}}, {"b_n_g_1_n_g_0", {3, 324}}}));
    ASSERT_EQ(plan.others.size(), 1U);
    EXPECT_EQ(plan.others[0].key, "b");
    EXPECT_EQ(plan.others[0].names, (MessageGroup{"o", "g"}));
}

TEST(PlanTest, ASectionWithoutRulesGivesNothing) {
    const Plan plan = planOf(documentOf({{"b", {rule("o", "g", 1, 1, 0)}}}), ofSection());
    EXPECT_TRUE(plan.keys.empty());
    EXPECT_TRUE(plan.files.empty());
}

// Two keys hold half a megabyte each: as keys they fit, as one slice they don't.
TEST(PlanTest, ASectionIsNotSplit) {
    const PolicyDocument document =
        documentOf({{"a", {rule("n", "g", 1, 1, 600000)}}, {"b", {rule("n", "g", 1, 1, 600000)}}});
    EXPECT_TRUE(makePlan(document, {}, withoutSplit(), *std::make_unique<Diagnostics>()));
    Diagnostics diagnostics;
    EXPECT_FALSE(makePlan(document, {}, ofSection(), diagnostics));
    ASSERT_EQ(diagnostics.mistakes(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "message-size");
    EXPECT_NE(diagnostics.all()[0].action.find("apply the whole policy"), std::string::npos);
    EXPECT_TRUE(makePlan(document, {}, ofSection(2), diagnostics)) << "two slices have room";
}

TEST(PlanTest, FilesOfASectionWithTooLongANameAreRefused) {
    const PolicyDocument longer = documentOf({{std::string(246, 'k'), {rule("n", "g", 1, 1, 0)}}});
    EXPECT_EQ(planOf(longer).files.size(), 1U) << "the whole policy fits";
    Diagnostics diagnostics;
    EXPECT_FALSE(makePlan(longer, {}, ofSection(), diagnostics));
    EXPECT_EQ(diagnostics.all()[0].code, "name-length");
}

}  // namespace
