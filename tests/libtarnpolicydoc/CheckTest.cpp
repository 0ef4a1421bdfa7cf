// What is told about a mistake, and checks that need more than a small document.
#include "libtarnpolicydoc/Check.h"

#include <gtest/gtest.h>

#include <ctime>

#include "libtarnpolicydoc/Load.h"
#include "support/Files.h"

namespace {

using namespace policydoc;

constexpr char kDocument[] = "/etc/tarn/policy.json";

Diagnostics checked(const std::string& text, const CheckContext& context = {}) {
    testfiles::write(kDocument, text);
    Diagnostics diagnostics;
    const auto document = load(kDocument, diagnostics);
    if (document) {
        EXPECT_TRUE(check(*document, context, diagnostics));
    }
    return diagnostics;
}

std::string withParameter(std::size_t length) {
    return R"({"tarnPolicy":1,"namespaces":{"n":["m:f"]},"groups":{"base":{"rules":[
        {"subjectIds":[[1,2,3]],"objectIds":[[1,2,3]],"class":"file","perm":"read","namespace":"n","module":"m",
         "actions":[{"function":"f","params":[")" +
           std::string(length, 'x') + R"("]}]}]}}})";
}

TEST(CheckTest, RefusesARecordThatNoMessageCanHold) {
    // The record's head (100), the action (20) and the parameter's head (8) leave this much of 1,048,552 bytes.
    constexpr std::size_t kLongest = 1048552 - 128;
    EXPECT_EQ(checked(withParameter(kLongest)).all().size(), 0U);
    const Diagnostics diagnostics = checked(withParameter(kLongest + 1));
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "record-size");
    EXPECT_EQ(diagnostics.all()[0].pointer, "/groups/base/rules/0");
    EXPECT_NE(diagnostics.all()[0].message.find("1048553 bytes"), std::string::npos);
}

TEST(CheckTest, RefusesNamespacesThatNoMessageCanHold) {
    std::string functions;
    for (int i = 0; i < 1100; ++i) {
        functions += (i == 0 ? "\"m:" : ",\"m:") + std::to_string(i) + std::string(1000, 'f') + "\"";
    }
    const Diagnostics diagnostics = checked(R"({"tarnPolicy":1,"namespaces":{"n":[)" + functions + "]}}");
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "namespace-size");
}

TEST(CheckTest, SaysWhatWasMeantWhatIsThereAndWhatToDo) {
    Json::Value classes;
    classes["file"]["value"] = 1;
    classes["file"]["perms"]["read"] = 1;
    classes["file"]["perms"]["write"] = 2;
    CheckContext context;
    context.classes = &classes;
    const Diagnostics diagnostics = checked(R"({"tarnPolicy":1,"namespaces":{"n":[]},"groups":{"base":{"rules":[
{"subjectIds":[[1,2,3]],"objectIds":[[1,2,3]],"class":"file","perm":"raed","namespace":"n"}]}}})",
                                            context);
    EXPECT_EQ(toText(diagnostics),
              "/etc/tarn/policy.json:2: mistake: class \"file\" has no permission \"raed\" [unknown-permission]\n"
              "    at /groups/base/rules/0/perm\n"
              "    expected: one of read, write\n"
              "    to do: did you mean \"read\"? Else use a permission of this class\n");
    const Json::Value json = toJson(diagnostics);
    ASSERT_EQ(json.size(), 1U);
    EXPECT_EQ(json[0]["severity"].asString(), "mistake");
    EXPECT_EQ(json[0]["line"].asUInt(), 2U);
    EXPECT_EQ(json[0]["pointer"].asString(), "/groups/base/rules/0/perm");
    EXPECT_FALSE(json[0].isMember("column"));
}

TEST(CheckTest, TellsTheColumnOfBrokenJson) {
    const Diagnostics diagnostics = checked("{\n  \"tarnPolicy\": x}");
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0].line, 2U);
    EXPECT_EQ(diagnostics.all()[0].column, 17U);
    EXPECT_EQ(toJson(diagnostics)[0]["column"].asUInt(), 17U);
}

TEST(CheckTest, WritesControlCharactersOfADocumentAsEscapes) {
    const Diagnostics diagnostics = checked("{\"tarnPolicy\":1,\"\\u001b[2J\\u007f\\n\":1}");
    const std::string text = toText(diagnostics);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_NE(text.find("\\u001b[2J\\u007f\\n"), std::string::npos) << text;
}

TEST(CheckTest, TellsHowFarItIs) {
    CheckContext context;
    std::vector<std::uint64_t> steps;
    context.progress = [&steps](std::uint64_t rules, std::uint64_t /*bytes*/) { steps.push_back(rules); };
    std::string rules;
    for (int i = 0; i < 5000; ++i) {
        rules +=
            (i == 0 ? "" : ",") +
            std::string(R"({"subjectIds":[[1,2,3]],"objectIds":[[1,2,3]],"class":"c","perm":"p","namespace":"n"})");
    }
    EXPECT_EQ(checked(R"({"tarnPolicy":1,"namespaces":{"n":[]},"groups":{"g":{"rules":[)" + rules + "]}}}", context)
                  .all()
                  .size(),
              0U);
    EXPECT_EQ(steps, (std::vector<std::uint64_t>{4096, 5000}));
}

TEST(CheckTest, ReadsPinnedNumbersAsTheLibraryDoes) {
    testfiles::write(
        "/etc/tarn/scene_info",
        "7:net\n12:a:b\n12\nx:odd\n12abc:tail\n4294967297:wide\n-1:minus\n3::double\n\n1:again\n2:again\n");
    Diagnostics diagnostics;
    EXPECT_EQ(readPinnedNumbers("/etc/tarn/scene_info", diagnostics),
              (std::map<std::string, std::uint32_t>{
                  {"net", 7}, {"tail", 12}, {"wide", 1}, {"minus", 4294967295}, {"double", 3}, {"again", 2}}));
    EXPECT_TRUE(readPinnedNumbers("/etc/tarn/missing", diagnostics).empty());
    EXPECT_TRUE(diagnostics.all().empty());
    EXPECT_TRUE(readPinnedNumbers("/etc/tarn", diagnostics).empty());
    ASSERT_EQ(diagnostics.warnings(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "pinned-numbers");
    EXPECT_NE(diagnostics.all()[0].message.find("it is a directory"), std::string::npos);
}

TEST(CheckTest, RefusesClassDefinitionsThatAreNoObject) {
    for (const char* text : {"[]", "7", "", "{\"a\":", "{} {"}) {
        testfiles::write("/etc/tarn/classes", text);
        Diagnostics diagnostics;
        const bool read = readClasses("/etc/tarn/classes", diagnostics).has_value();
        EXPECT_EQ(read, diagnostics.all().empty()) << text;
        EXPECT_EQ(read, std::string(text) == "{} {")
            << text;  // the library's reader stops at the end of the first value
    }
    Diagnostics diagnostics;
    EXPECT_FALSE(readClasses("/etc/tarn/missing", diagnostics));
    EXPECT_TRUE(diagnostics.has("class-definition"));
}

// The document reads them line by line, so that a million rules cost nothing here but their findings.
std::string manyMisspelt(unsigned int count) {
    std::string lines;
    for (unsigned int i = 0; i < count; ++i) {
        lines += R"({"namespace":"n","subjectIds":[[1,2,3]],"objectIds":[[1,2,3]],"class":"file","perm":"raed"})";
        lines += '\n';
    }
    testfiles::write("/etc/tarn/rules.jsonl", lines);
    return R"({"tarnPolicy":1,"namespaces":{"n":[]},"groups":{"base":{"ruleFiles":["rules.jsonl"]}}})";
}

TEST(CheckTest, FindingsBeyondTheFirstThousandAreCounted) {
    Json::Value classes;
    classes["file"]["perms"]["read"] = 1;
    CheckContext context;
    context.classes = &classes;
    const Diagnostics diagnostics = checked(manyMisspelt(5000), context);
    EXPECT_EQ(diagnostics.all().size(), 1000U);
    EXPECT_EQ(diagnostics.mistakes(), 5000U);
    EXPECT_EQ(diagnostics.omitted(), 4000U);
    EXPECT_EQ(diagnostics.all().back().line, 1000U);
    EXPECT_NE(toText(diagnostics).find("and more, not listed: in all 5000 mistakes and 0 warnings\n"),
              std::string::npos);
}

TEST(CheckTest, WarningsNeverHideMistakes) {
    Diagnostics diagnostics;
    for (int i = 0; i < 3000; ++i) {
        Diagnostic warning;
        warning.severity = Severity::kWarning;
        diagnostics.add(warning);
    }
    diagnostics.add(Diagnostic());
    EXPECT_EQ(diagnostics.all().size(), 1001U);
    EXPECT_EQ(diagnostics.all().back().severity, Severity::kMistake);
    EXPECT_EQ(diagnostics.warnings(), 3000U);
}

// Twenty thousand wrong names among twenty thousand declared ones: looking at all pairs would take minutes.
TEST(CheckTest, NearNamesAreNotLookedForWithoutEnd) {
    std::string devices;
    std::string objects;
    for (int i = 0; i < 20000; ++i) {
        const std::string number = std::to_string(i);
        devices += (i == 0 ? "\"device-with-a-long-name-" : ",\"device-with-a-long-name-") + number + "\"";
        objects += (i == 0 ? "\"device-with-a-lone-name-" : ",\"device-with-a-lone-name-") + number + "\"";
    }
    const std::clock_t start = std::clock();
    const Diagnostics diagnostics = checked(R"({"tarnPolicy":1,"namespaces":{"n":[]},"devices":[)" + devices +
                                            R"(],"groups":{"base":{"rules":[{"namespace":"n","subjectIds":[[1,2,3]],
        "class":"usb","perm":"read","objects":[)" +
                                            objects + "]}]}}}");
    EXPECT_EQ(diagnostics.mistakes(), 20000U);
    EXPECT_NE(diagnostics.all()[0].action.find("did you mean \"device-with-a-long-name-0\"?"), std::string::npos);
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 60) << "seconds of processor time";
}

TEST(CheckTest, ADocumentWithoutRulesIsWarnedOf) {
    const Diagnostics diagnostics = checked(R"({"tarnPolicy":1,"groups":{"base":{"rules":[]}}})");
    ASSERT_EQ(diagnostics.all().size(), 1U);
    EXPECT_EQ(diagnostics.all()[0].code, "no-rules");
    EXPECT_EQ(diagnostics.mistakes(), 0U);
}

TEST(CheckTest, SaysWhyClassDefinitionsCannotBeRead) {
    Diagnostics diagnostics;
    EXPECT_FALSE(readClasses("/etc/tarn/none", diagnostics));
    EXPECT_FALSE(readClasses("/etc/tarn", diagnostics));
    testfiles::write("/etc/tarn/classes", "{\n\"a\": }");
    EXPECT_FALSE(readClasses("/etc/tarn/classes", diagnostics));
    ASSERT_EQ(diagnostics.all().size(), 3U);
    EXPECT_NE(diagnostics.all()[0].message.find("can't be read: No such file or directory"), std::string::npos);
    EXPECT_NE(diagnostics.all()[1].message.find("can't be read: it is a directory"), std::string::npos);
    EXPECT_NE(diagnostics.all()[2].message.find("Line 2, Column"), std::string::npos);
    EXPECT_EQ(diagnostics.all()[2].message.find('\n'), std::string::npos);
}

}  // namespace
