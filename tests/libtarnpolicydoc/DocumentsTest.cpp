// Every document of the folder, with the findings that stand in the file of the same name and the ending "expected":
// one per line, "severity code line pointer", the line with the file's name before it for findings in other files.
// Lines before them may say "threads N", "labels FILE" and "pinned NAMESPACE NUMBER".
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Load.h"

namespace {

using namespace policydoc;

std::string inFolder(const std::string& name) {
    return std::string(TARN_DOCUMENTS_DIR) + "/" + name;
}

struct Expectation {
    CheckContext context;
    std::string labels;
    std::string findings;
};

Expectation readExpectation(const std::string& path) {
    Expectation out;
    std::ifstream stream(path);
    EXPECT_TRUE(stream.is_open()) << path;
    std::string line;
    while (std::getline(stream, line)) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first == "threads") {
            words >> out.context.threads;
        } else if (first == "labels") {
            words >> out.labels;
        } else if (first == "pinned") {
            std::string name;
            words >> name >> out.context.pinnedNumbers[name];
        } else {
            out.findings += line + "\n";
        }
    }
    return out;
}

std::string visible(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out += c == '\n' ? "\\n" : c == '\0' ? "\\u0000" : c == '\001' ? "\\u0001" : std::string(1, c);
    }
    return out;
}

std::string summary(const Diagnostic& found, const std::string& document) {
    std::string out = found.severity == Severity::kMistake ? "mistake " : "warning ";
    out += found.code + " ";
    if (found.file != document) {
        out += std::filesystem::path(found.file).filename().string() + ":";
    }
    out += std::to_string(found.line);
    return found.pointer.empty() ? out : out + " " + visible(found.pointer);
}

std::vector<std::string> documentNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TARN_DOCUMENTS_DIR)) {
        const std::filesystem::path& path = entry.path();
        if (path.extension() == ".json" && path.filename() != "labels.json") {
            names.push_back(path.stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class DocumentsTest : public testing::TestWithParam<std::string> {};

TEST_P(DocumentsTest, GivesTheFindingsThatItCarries) {
    const std::string path = inFolder(GetParam() + ".json");
    Expectation expected = readExpectation(inFolder(GetParam() + ".expected"));
    Diagnostics diagnostics;
    const auto classes = readClasses(inFolder("class-def.conf"), diagnostics);
    ASSERT_TRUE(classes);
    expected.context.classes = &*classes;
    const auto document = load(path, diagnostics);
    Labels labels;
    if (!expected.labels.empty()) {
        const auto table = readLabelTable(inFolder(expected.labels), diagnostics);
        ASSERT_TRUE(table);
        labels = *table;
        expected.context.labels = &labels;
    }
    if (document) {
        EXPECT_TRUE(check(*document, expected.context, diagnostics));
    }
    std::string found;
    for (const Diagnostic& diagnostic : diagnostics.all()) {
        found += summary(diagnostic, path) + "\n";
        EXPECT_FALSE(diagnostic.message.empty());
        EXPECT_FALSE(diagnostic.action.empty()) << found;
    }
    EXPECT_EQ(found, expected.findings);
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(All, DocumentsTest, testing::ValuesIn(documentNames()), testName);

}  // namespace
