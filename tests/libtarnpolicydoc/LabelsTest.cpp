#include "libtarnpolicydoc/Labels.h"

#include <gtest/gtest.h>

#include "support/Files.h"

namespace {

using namespace policydoc;

constexpr char kTable[] = "/etc/tarn/labels.json";  // where the substitute label manager looks

std::string kindOf(const char* kind) {
    return kind == nullptr ? "none" : kind;
}

std::vector<std::uint64_t> firstWords(const std::vector<TARN_ID>& ids) {
    std::vector<std::uint64_t> words;
    for (const TARN_ID& id : ids) {
        words.push_back(id.uiWord[0]);
    }
    return words;
}

PolicyDocument document() {
    PolicyDocument out;
    out.files.emplace_back();
    out.files.front().name = "policy.json";
    out.labelledNames = {{"subject_file", "/a", 0, {}}, {"object_file", "/x", 0, {}}, {"object_file", "/y", 1, {}}};
    out.devices = {{"stick", 0, {}}};
    out.modules = {{"uas", 0, {}}};
    return out;
}

void writeTable() {
    testfiles::write(kTable, R"({"format":"tarn-labels","version":1,
        "labels":{"subject_file":{"/a":[[1,0,0],[2,0,0]],"/b":[[9,0,0]]},"object_file":{"/x":[[3,0,0]]}},
        "devices":{"stick":[4,0,0],"disk":[5,0,0]},"modules":{"uas":[6,0,0]}})");
}

TEST(LabelsTest, ChoosesTheKindOfASubject) {
    EXPECT_EQ(kindOf(subjectKind("/usr/bin/ls")), "subject_file");
    EXPECT_EQ(kindOf(subjectKind("/usr/bin/*")), "subject_recurfile");
    EXPECT_EQ(kindOf(subjectKind("/*")), "subject_recurfile");
    EXPECT_EQ(kindOf(subjectKind("bash")), "subject_pkg");
    EXPECT_EQ(kindOf(subjectKind("bash/*")), "subject_pkg");
    EXPECT_EQ(kindOf(subjectKind("NULLL")), "subject_pkg");
    EXPECT_EQ(kindOf(subjectKind("/")), "subject_file");
    EXPECT_EQ(kindOf(subjectKind("")), "subject_pkg");
}

TEST(LabelsTest, ChoosesTheKindOfAnObject) {
    EXPECT_EQ(kindOf(objectKind("file", "/x")), "object_file");
    EXPECT_EQ(kindOf(objectKind("file", "/*")), "object_recurfile");
    EXPECT_EQ(kindOf(objectKind("file", "pkg")), "object_pkg");
    EXPECT_EQ(kindOf(objectKind("file", "pkg/*")), "object_pkg");
    EXPECT_EQ(kindOf(objectKind("dir", "data")), "object_dir");
    EXPECT_EQ(kindOf(objectKind("dir", "data/*")), "object_recurfile");
    EXPECT_EQ(kindOf(objectKind("lnkfile", "/l")), "object_lnkfile");
    EXPECT_EQ(kindOf(objectKind("lnkfile", "/l/*")), "object_recurfile");
    EXPECT_EQ(kindOf(objectKind("process", "/x")), "subject_file");
    EXPECT_EQ(kindOf(objectKind("process", "/x/*")), "subject_recurfile");
    EXPECT_EQ(kindOf(objectKind("process", "x/*")), "subject_pkg");
    for (const char* permClass : {"file", "dir", "lnkfile", "process", "kmod", "usb", "other"}) {
        EXPECT_EQ(kindOf(objectKind(permClass, "NULLL")), "object_pkg") << permClass;
    }
    for (const char* permClass : {"kmod", "usb", "other", "File"}) {
        EXPECT_EQ(kindOf(objectKind(permClass, "/x")), "none") << permClass;
    }
}

TEST(LabelsTest, ResolvesNamesInTheirOrder) {
    Labels labels;
    labels.names["subject_file"]["/a"] = {{{1, 0, 0}}, {{2, 0, 0}}};
    labels.names["subject_file"]["/b"] = {{{3, 0, 0}}};
    labels.devices["stick"] = TARN_ID{{4, 0, 0}};
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/b", "/unknown", "/a"};
    rule.vecSubjectId = {{{7, 7, 7}}};
    rule.bObjectFlag = false;
    rule.sPermClass = "usb";
    rule.vecObjectName = {"stick", "unknown"};
    resolve(rule, labels);
    EXPECT_EQ(firstWords(rule.vecSubjectId), (std::vector<std::uint64_t>{3, 1, 2}));
    EXPECT_EQ(firstWords(rule.vecObjectId), (std::vector<std::uint64_t>{4, 0}));
    EXPECT_FALSE(rule.bSubjectFlag || rule.bObjectFlag);
}

TEST(LabelsTest, LeavesIdentifiersOfARuleAlone) {
    PolicyNode rule;
    rule.vecSubjectId = {{{7, 7, 7}}};
    rule.vecObjectId = {{{8, 8, 8}}};
    rule.vecSubjectName = {"/a"};
    resolve(rule, Labels());
    EXPECT_EQ(firstWords(rule.vecSubjectId), (std::vector<std::uint64_t>{7}));
    EXPECT_EQ(firstWords(rule.vecObjectId), (std::vector<std::uint64_t>{8}));
}

TEST(LabelsTest, TableAndLabelManagerAgree) {
    writeTable();
    Diagnostics diagnostics;
    const auto table = readLabelTable(kTable, diagnostics);
    const auto answer = askLabelManager(document(), diagnostics);
    ASSERT_TRUE(table && answer) << toText(diagnostics);
    const Labels restricted = restrictTo(*table, document());
    EXPECT_EQ(firstWords(restricted.names.at("subject_file").at("/a")), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(restricted.names.at("subject_file").count("/b"), 0U);
    EXPECT_EQ(restricted.devices.size(), 1U);
    EXPECT_EQ(firstWords(answer->names.at("subject_file").at("/a")), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(answer->devices.at("stick").uiWord[0], 4U);
    EXPECT_EQ(answer->modules.at("uas").uiWord[0], 6U);
}

TEST(LabelsTest, ReportsATableThatCanNotBeRead) {
    Diagnostics diagnostics;
    EXPECT_FALSE(readLabelTable(kTable, diagnostics));
    ASSERT_TRUE(diagnostics.has("label-table"));
    EXPECT_EQ(diagnostics.all()[0].file, kTable);
}

TEST(LabelsTest, ReportsTheLabelManagersStatus) {
    Diagnostics diagnostics;
    EXPECT_FALSE(askLabelManager(document(), diagnostics));
    ASSERT_TRUE(diagnostics.has("label-manager"));
    EXPECT_NE(diagnostics.all()[0].message.find("status 201"), std::string::npos) << diagnostics.all()[0].message;
}

}  // namespace
