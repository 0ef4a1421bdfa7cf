// A set on disk, read file by file with what was found in each.
#include "libtarnmessage/SetReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "MessageTools.h"
#include "SetOnDisk.h"
#include "support/Files.h"

using messagetools::withWord;
using namespace setondisk;
using tarnmessage::FileReport;
using tarnmessage::readSet;
using tarnmessage::SetReport;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::vector<std::string> namesOf(const SetReport& report) {
    std::vector<std::string> names;
    for (const FileReport& file : report.files) {
        names.push_back(file.name);
    }
    return names;
}

// The report on one file; a failure where there is none.
FileReport reportOn(const SetReport& report, const std::string& name) {
    for (const FileReport& file : report.files) {
        if (file.name == name) {
            return file;
        }
    }
    ADD_FAILURE() << "no report on " << name;
    return {};
}

}  // namespace

TEST(SetReader, WholeSetIsSoundAndReadInTheOrderOfDelivery) {
    writeWholeSet();
    const SetReport report = readSet(kSet);
    EXPECT_TRUE(report.sound());
    EXPECT_THAT(namesOf(report), ElementsAre("beginmsg", "namemsg", "base_0_net_g_0", "base_1_net_g_0", "endmsg"));
    EXPECT_EQ(report.records, 3U);
    EXPECT_EQ(report.functions.functionCount(4075427327U), 2U);
    EXPECT_EQ(reportOn(report, "base_1_net_g_0").bytes, 304U);
    EXPECT_EQ(reportOn(report, "base_1_net_g_0").header.recordCount, 2U);
}

TEST(SetReader, VisitorSeesEachRecordUnderItsFile) {
    writeWholeSet();
    struct Visitor : tarnmessage::SetVisitor {
        void onFile(const std::string& name) override { seen.push_back(name); }
        void onNamespace(const tarnmessage::NamespaceView& block) override { seen.emplace_back(block.name); }
        void onPolicy(const tarnmessage::PolicyRecordView& record) override {
            seen.push_back("record at " + std::to_string(record.offset));
        }
        std::vector<std::string> seen;
    } visitor;
    EXPECT_TRUE(readSet(kSet, visitor).sound());
    EXPECT_THAT(visitor.seen, ElementsAre("beginmsg", "namemsg", "net", "base_0_net_g_0", "record at 20",
                                          "base_1_net_g_0", "record at 20", "record at 160", "endmsg"));
}

TEST(SetReader, MissingDirectoryIsAProblemOfTheSet) {
    const SetReport report = readSet("/etc/tarn/nothing");
    EXPECT_FALSE(report.sound());
    EXPECT_THAT(report.problem, HasSubstr("No such file"));
}

TEST(SetReader, EmptyDirectoryLacksBeginAndEnd) {
    testfiles::makeDirectories(kSet);
    const SetReport report = readSet(kSet);
    EXPECT_FALSE(report.sound());
    EXPECT_EQ(reportOn(report, "beginmsg").problem, "is missing");
    EXPECT_EQ(reportOn(report, "endmsg").problem, "is missing");
    EXPECT_EQ(report.files.size(), 2U);
}

TEST(SetReader, NamespaceMessageMayBeMissingWhereNothingIsCalled) {
    writeMessage("beginmsg", "begin");
    writeMessage("base_0_net_g_0", "policy-plain");
    writeMessage("endmsg", "end");
    EXPECT_TRUE(readSet(kSet).sound());
}

TEST(SetReader, CallsNeedTheNamespaceMessage) {
    writeWholeSet();
    std::remove(at("namemsg").c_str());
    const SetReport report = readSet(kSet);
    EXPECT_FALSE(report.sound());
    ASSERT_TRUE(reportOn(report, "base_0_net_g_0").finding);
    EXPECT_EQ(reportOn(report, "base_0_net_g_0").finding->answer(), 61);
}

TEST(SetReader, UnsoundNamespaceMessageIsTheOnlyFinding) {
    writeWholeSet();
    testfiles::write(at("namemsg"), withWord(golden::message("namespace"), 36, 1));
    const SetReport report = readSet(kSet);
    EXPECT_FALSE(report.sound());
    EXPECT_EQ(reportOn(report, "namemsg").finding->code, tarnmessage::FindingCode::kReservedWord);
    EXPECT_TRUE(reportOn(report, "base_0_net_g_0").sound());
}

TEST(SetReader, UnsoundFilesAreAllReportedAndTheirRecordsNotCounted) {
    writeWholeSet();
    testfiles::write(at("base_0_net_g_0"), withWord(golden::message("policy-condition"), 20, 1));
    testfiles::write(at("base_1_net_g_0"), withWord(golden::message("policy-pairs"), 160, 1));
    const SetReport report = readSet(kSet);
    EXPECT_TRUE(reportOn(report, "base_0_net_g_0").finding);
    EXPECT_TRUE(reportOn(report, "base_1_net_g_0").finding);
    EXPECT_TRUE(reportOn(report, "endmsg").sound());
    EXPECT_EQ(report.records, 0U);
}

TEST(SetReader, FileThatHoldsAnotherMessageThanItsNameSaysIsReported) {
    writeWholeSet();
    writeMessage("beginmsg", "end");
    writeMessage("base_0_net_g_0", "namespace");
    const SetReport report = readSet(kSet);
    EXPECT_EQ(reportOn(report, "beginmsg").problem, "holds a message of the kind end, expected begin");
    EXPECT_EQ(reportOn(report, "base_0_net_g_0").problem, "holds a message of the kind namespace, expected policy");
}

TEST(SetReader, SymbolicLinksAreReportedAndOthersThanFilesPassedOver) {
    writeWholeSet();
    testfiles::link("/etc/tarn/set/base_0_net_g_0", at("link"));
    testfiles::makeDirectories(at("directory"));
    ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
    writeMessage(".hidden", "end");
    const SetReport report = readSet(kSet);
    EXPECT_THAT(namesOf(report),
                ElementsAre("beginmsg", "namemsg", "base_0_net_g_0", "base_1_net_g_0", "link", "endmsg"));
    EXPECT_THAT(reportOn(report, "link").problem, HasSubstr("symbolic link"));
}

TEST(SetReader, FrameFilesMustBeRegularFiles) {
    writeWholeSet();
    std::remove(at("beginmsg").c_str());
    std::remove(at("endmsg").c_str());
    ASSERT_EQ(mkfifo(at("beginmsg").c_str(), 0600), 0);
    testfiles::link("/etc/tarn/set/namemsg", at("endmsg"));
    const SetReport report = readSet(kSet);
    EXPECT_EQ(reportOn(report, "beginmsg").problem, "is no regular file");
    EXPECT_THAT(reportOn(report, "endmsg").problem, HasSubstr("symbolic link"));
}

TEST(SetReader, FileBeyondTheBoundIsRefusedWithoutReadingItAll) {
    writeWholeSet();
    testfiles::write(at("base_0_net_g_0"), golden::message("policy-condition") + std::string(3 << 20, '\0'));
    const FileReport file = reportOn(readSet(kSet), "base_0_net_g_0");
    EXPECT_EQ(file.bytes, 1048577U);
    ASSERT_TRUE(file.finding);
    EXPECT_EQ(file.finding->code, tarnmessage::FindingCode::kMessageTooLong);
}

TEST(SetReader, EmptyFileIsTooShort) {
    writeWholeSet();
    testfiles::write(at("endmsg"), "");
    EXPECT_EQ(reportOn(readSet(kSet), "endmsg").finding->code, tarnmessage::FindingCode::kShortHeader);
}

TEST(SetReader, LeavesNoDescriptorOpen) {
    writeWholeSet();
    const int before = testfiles::openDescriptors();
    static_cast<void>(readSet(kSet));
    static_cast<void>(readSet("/etc/tarn/nothing"));
    EXPECT_EQ(testfiles::openDescriptors(), before);
}
