// Reading documents and walking over their rules.
#include "libtarnpolicydoc/Rules.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "libtarnpolicydoc/Load.h"
#include "support/Files.h"

namespace {

using namespace policydoc;

constexpr char kDocument[] = "/etc/tarn/policy.json";

std::string rule(const std::string& group) {
    return R"({"class":"file","perm":"read","namespace":"n","group":")" + group +
           R"(","subjectIds":[],"objectIds":[]})";
}

PolicyDocument twoGroups() {
    testfiles::write("/etc/tarn/more/a.jsonl", rule("a2") + "\n\n" + rule("a3"));
    testfiles::write("/etc/tarn/more/b.jsonl", "\n" + rule("b1") + "\n");
    testfiles::write(kDocument, R"({"tarnPolicy":1,"groups":{"a":{"ruleFiles":["more/a.jsonl"],"rules":[)" +
                                    rule("a0") + ",\n" + rule("a1") + R"(]},"b":{"rules":[)" + rule("b0") +
                                    R"(],"ruleFiles":["/etc/tarn/more/b.jsonl"]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    EXPECT_EQ(diagnostics.all().size(), 0U) << toText(diagnostics);
    return document.value_or(PolicyDocument());
}

std::string placeOf(const PolicyDocument& document, const LocatedRule& located) {
    return located.rule.strGroup + "@" + document.groups[located.group].key + std::to_string(located.indexInGroup) +
           "," + std::to_string(located.indexInSource) + " " + document.files[located.place.file].name + ":" +
           std::to_string(located.place.line) + " " +
           rulePointer(document.groups[located.group], located.place, located.indexInSource);
}

TEST(RulesTest, VisitsRulesOfTheDocumentFirstThenThoseOfItsFiles) {
    const PolicyDocument document = twoGroups();
    Diagnostics diagnostics;
    std::vector<std::string> seen;
    EXPECT_TRUE(forEachRule(document, true, diagnostics, [&](const LocatedRule& located) {
        seen.push_back(placeOf(document, located));
        return true;
    }));
    EXPECT_EQ(seen, (std::vector<std::string>{"a0@a0,0 /etc/tarn/policy.json:1 /groups/a/rules/0",
                                              "a1@a1,1 /etc/tarn/policy.json:2 /groups/a/rules/1",
                                              "b0@b0,0 /etc/tarn/policy.json:2 /groups/b/rules/0",
                                              "a2@a2,0 /etc/tarn/more/a.jsonl:1 ", "a3@a3,1 /etc/tarn/more/a.jsonl:3 ",
                                              "b1@b1,0 /etc/tarn/more/b.jsonl:2 "}));
    EXPECT_EQ(diagnostics.all().size(), 0U);
}

TEST(RulesTest, VisitsTheRulesOfOneGroup) {
    const PolicyDocument document = twoGroups();
    Diagnostics diagnostics;
    std::string seen;
    EXPECT_TRUE(forEachRuleOf(document, 1, true, diagnostics, [&](const LocatedRule& located) {
        seen += located.rule.strGroup + " ";
        return true;
    }));
    EXPECT_EQ(seen, "b0 b1 ");
}

TEST(RulesTest, EndsWhereTheVisitorSaysSo) {
    const PolicyDocument document = twoGroups();
    for (const int last : {1, 3, 4}) {
        Diagnostics diagnostics;
        int seen = 0;
        EXPECT_TRUE(forEachRule(document, true, diagnostics, [&](const LocatedRule&) { return ++seen < last; }));
        EXPECT_EQ(seen, last);
    }
}

TEST(RulesTest, RefusesAFileThatHasChanged) {
    for (const std::string changed : {"/etc/tarn/more/b.jsonl", kDocument}) {
        const PolicyDocument document = twoGroups();
        testfiles::write(changed, testfiles::read(changed) + " ");
        Diagnostics diagnostics;
        EXPECT_FALSE(forEachRule(document, true, diagnostics, [](const LocatedRule&) { return true; })) << changed;
        ASSERT_EQ(diagnostics.all().size(), 1U);
        EXPECT_EQ(diagnostics.all()[0].code, "file-changed");
        EXPECT_EQ(diagnostics.all()[0].file, changed);
    }
}

TEST(RulesTest, RefusesAFileThatIsGone) {
    const PolicyDocument document = twoGroups();
    ASSERT_EQ(rename("/etc/tarn/more/a.jsonl", "/etc/tarn/more/c.jsonl"), 0);
    Diagnostics diagnostics;
    EXPECT_FALSE(forEachRule(document, true, diagnostics, [](const LocatedRule&) { return true; }));
    EXPECT_TRUE(diagnostics.has("file"));
}

TEST(RulesTest, KeepsQuietAboutRulesWhenAskedTo) {
    testfiles::write(kDocument, R"({"tarnPolicy":1,"groups":{"a":{"rules":[{"clas":"file"},5]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document);
    int seen = 0;
    EXPECT_TRUE(forEachRule(*document, false, diagnostics, [&seen](const LocatedRule&) { return ++seen > 0; }));
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(diagnostics.all().size(), 0U);
}

TEST(RulesTest, ReadsEveryFieldOfARule) {
    testfiles::write(kDocument, R"({"tarnPolicy":1,"groups":{"a":{"rules":[{"attrA":1,"attrB":"0x2",
        "subjects":["s","NULLL"],"objectIds":[[1,"2","0xffffffffffffffff"],"cap_sys_admin"],"class":"c","perm":"p",
        "condition":{"type":2,"operands":[{"type":"variable","variable":"v","value":3},
            {"type":"not","operands":[{"type":"call","function":"f","params":[-1,"t"]}]}]},
        "actions":[{"function":"g"},{"function":"h","params":[7]}],"ext":[1,0,3,4,5],"namespace":"n","group":"g",
        "module":"m"}]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document);
    PolicyNode node;
    ASSERT_TRUE(forEachRule(*document, true, diagnostics, [&node](const LocatedRule& located) {
        node = located.rule;
        return true;
    }));
    ASSERT_EQ(diagnostics.all().size(), 0U) << toText(diagnostics);
    EXPECT_EQ(node.uiAttrA, 1U);
    EXPECT_EQ(node.uiAttrB, 2U);
    EXPECT_FALSE(node.bSubjectFlag);
    EXPECT_EQ(node.vecSubjectName, (std::vector<std::string>{"s", "NULLL"}));
    EXPECT_TRUE(node.vecSubjectId.empty());
    EXPECT_TRUE(node.bObjectFlag);
    ASSERT_EQ(node.vecObjectId.size(), 2U);
    EXPECT_EQ(node.vecObjectId[0].uiWord[2], 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(node.vecObjectId[1].uiWord[0], 21U);
    EXPECT_EQ(node.sPermClass + node.sPerm + node.strNamespace + node.strGroup + node.strModuleName, "cpngm");
    ASSERT_EQ(node.vecExpr.size(), 4U);
    EXPECT_EQ(node.vecExpr[0].strVarName, "v");
    EXPECT_EQ(node.vecExpr[0].uiValue, 3U);
    EXPECT_EQ(node.vecExpr[1].strFuncName, "f");
    ASSERT_EQ(node.vecExpr[1].vecParam.size(), 2U);
    EXPECT_EQ(node.vecExpr[1].vecParam[0].iData, -1);
    EXPECT_EQ(node.vecExpr[1].vecParam[0].uiParamType, 2U);
    EXPECT_EQ(node.vecExpr[1].vecParam[1].strData, "t");
    EXPECT_EQ(node.vecExpr[1].vecParam[1].uiParamType, 3U);
    EXPECT_EQ(node.vecExpr[2].uiExprType, 1U);
    EXPECT_EQ(node.vecExpr[3].uiExprType, 2U);
    ASSERT_EQ(node.vecDoFunc.size(), 2U);
    EXPECT_EQ(node.vecDoFunc[1].strFuncName, "h");
    EXPECT_EQ(node.vecDoFunc[1].vecParam[0].iData, 7);
    EXPECT_EQ(node.uiExt[0] * 10000 + node.uiExt[1] * 1000 + node.uiExt[2] * 100 + node.uiExt[3] * 10 + node.uiExt[4],
              10345U);
}

TEST(LoadTest, RefusesWhatIsNoRegularFile) {
    testfiles::makeDirectories("/etc/tarn/folder");
    ASSERT_EQ(mkfifo("/etc/tarn/fifo", 0600), 0);
    for (const char* path : {"/etc/tarn/missing", "/etc/tarn/folder", "/etc/tarn/fifo"}) {
        Diagnostics diagnostics;
        EXPECT_FALSE(load(path, diagnostics)) << path;
        ASSERT_EQ(diagnostics.mistakes(), 1U);
        EXPECT_EQ(diagnostics.all()[0].code, "file");
        EXPECT_EQ(diagnostics.all()[0].file, path);
    }
}

TEST(LoadTest, ReadsEverythingOutsideTheRules) {
    testfiles::write(kDocument, R"({"tarnPolicy":1,"namespaces":{"n":["m:f","m:g"],"e":[]},"users":{"u":4294967295},
"files":{"subject_file":["/a","/b"],"object_dir":["d"]},"devices":["x"],"modules":["y"],
"variables":{"n":{"v":7,"w":null}},"groups":{"k":{"words":[1,"2","0x3"],"rules":[1,2]}}})");
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    ASSERT_TRUE(document) << toText(diagnostics);
    EXPECT_EQ(diagnostics.all().size(), 0U);
    ASSERT_EQ(document->namespaces.size(), 2U);
    EXPECT_EQ(document->namespaces[0].functions[1].module + document->namespaces[0].functions[1].function, "mg");
    EXPECT_EQ(document->users[0].uid, 4294967295U);
    ASSERT_EQ(document->labelledNames.size(), 3U);
    EXPECT_EQ(document->labelledNames[1].kind + document->labelledNames[1].name, "subject_file/b");
    EXPECT_EQ(document->labelledNames[1].index, 1U);
    EXPECT_EQ(document->labelledNames[1].place.line, 2U);
    EXPECT_EQ(document->devices[0].name + document->modules[0].name, "xy");
    EXPECT_EQ(document->variables[0].value, std::optional<std::uint32_t>(7));
    EXPECT_EQ(document->variables[1].value, std::nullopt);
    EXPECT_EQ(document->groups[0].words[0] + document->groups[0].words[1] * 10 + document->groups[0].words[2] * 100,
              321U);
    EXPECT_EQ(document->groups[0].inlineRules, 2U);
}

}  // namespace
