// The walk over a directory or a single file, file by file.
#include "libtarnmessage/SetWalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "MessageTools.h"
#include "SetOnDisk.h"
#include "support/Files.h"

using messagetools::withWord;
using namespace setondisk;
using tarnmessage::PassedOver;
using tarnmessage::SetWalk;
using tarnmessage::WalkOutcome;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t kNet = 4075427327U;

// After this, modes hold for root, too.
long giveUpCapabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &header, none);
}

struct Diary : tarnmessage::WalkVisitor {
    void onFile(const std::string& name, std::string_view bytes) override {
        lines.push_back(name + " " + std::to_string(bytes.size()));
    }
    void onFileEnd(const tarnmessage::FileReport& report) override {
        lines.push_back("end of " + report.name + (report.sound() ? "" : ", unsound"));
        reports.push_back(report);
    }
    void onPassedOver(const std::string& name, PassedOver why) override { passedOver.emplace_back(name, why); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        lines.push_back("record at " + std::to_string(record.offset));
    }
    bool goesOn() override { return files-- > 0; }

    std::vector<std::string> lines;
    std::vector<tarnmessage::FileReport> reports;
    std::vector<std::pair<std::string, PassedOver>> passedOver;
    int files = 1000;
};

}  // namespace

TEST(SetWalk, DirectoryIsWalkedInTheOrderOfDelivery) {
    writeWholeSet();
    Diary diary;
    SetWalk walk(kSet);
    const WalkOutcome outcome = walk.run(diary);
    EXPECT_TRUE(outcome.sound());
    EXPECT_TRUE(outcome.isDirectory);
    EXPECT_EQ(outcome.files, 5U);
    EXPECT_EQ(outcome.records, 3U);
    EXPECT_THAT(diary.lines,
                ElementsAre("beginmsg 20", "end of beginmsg", "namemsg 93", "end of namemsg", "base_0_net_g_0 243",
                            "record at 20", "end of base_0_net_g_0", "base_1_net_g_0 304", "record at 20",
                            "record at 160", "end of base_1_net_g_0", "endmsg 20", "end of endmsg"));
    EXPECT_EQ(walk.functions().functionCount(kNet), 2U);
}

TEST(SetWalk, VisitorEndsItBetweenFiles) {
    writeWholeSet();
    Diary diary;
    diary.files = 2;
    const WalkOutcome outcome = SetWalk(kSet).run(diary);
    EXPECT_TRUE(outcome.stopped);
    EXPECT_EQ(outcome.files, 2U);
    EXPECT_EQ(diary.lines.back(), "end of namemsg");
}

TEST(SetWalk, PassedOverNamesAreTold) {
    writeWholeSet();
    testfiles::makeDirectories(at("folder"));
    ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
    writeMessage(".hidden", "policy-plain");
    Diary diary;
    EXPECT_TRUE(SetWalk(kSet).run(diary).sound());
    EXPECT_THAT(diary.passedOver,
                ElementsAre(testing::Pair(".hidden", PassedOver::kHidden), testing::Pair("fifo", PassedOver::kOther),
                            testing::Pair("folder", PassedOver::kDirectory)));
}

TEST(SetWalk, LinksAreNoMessagesOfTheSet) {
    writeWholeSet();
    testfiles::link(at("base_0_net_g_0"), at("b"));
    testfiles::link("nothing", at("a"));
    Diary diary;
    const WalkOutcome outcome = SetWalk(kSet).run(diary);
    EXPECT_TRUE(outcome.sound());
    EXPECT_EQ(outcome.files, 5U);
    EXPECT_EQ(outcome.links, 2U);
    EXPECT_EQ(outcome.linkWarning(), "2 symbolic links are no part of the set and passed over, as the sender does");
    EXPECT_THAT(diary.passedOver,
                ElementsAre(testing::Pair("a", PassedOver::kLink), testing::Pair("b", PassedOver::kLink)));
}

TEST(SetWalk, LinksInPlaceOfFrameMessagesAreUnsound) {
    for (const char* name : {"beginmsg", "namemsg", "endmsg"}) {
        writeWholeSet();
        std::remove(at(name).c_str());
        testfiles::link("elsewhere", at(name));
        Diary diary;
        const WalkOutcome outcome = SetWalk(kSet).run(diary);
        EXPECT_EQ(outcome.unsound, 1U) << name;
        EXPECT_EQ(outcome.links, 0U) << name;
        std::remove(at(name).c_str());
    }
}

TEST(SetWalk, ReportHasModeOwnerAndSize) {
    writeWholeSet();
    ASSERT_EQ(chmod(at("endmsg").c_str(), 0440), 0);
    Diary diary;
    static_cast<void>(SetWalk(kSet).run(diary));
    EXPECT_EQ(diary.reports.back().status.mode & 07777U, 0440U);
    EXPECT_EQ(diary.reports.back().status.owner, geteuid());
    EXPECT_EQ(diary.reports.back().status.size, 20U);
}

TEST(SetWalk, MissingFramesAreUnsoundAndNoErrorOfReading) {
    testfiles::makeDirectories(kSet);
    Diary diary;
    const WalkOutcome outcome = SetWalk(kSet).run(diary);
    EXPECT_EQ(outcome.unsound, 2U);
    EXPECT_EQ(outcome.unreadable, 0U);
    EXPECT_EQ(outcome.error, 0);
}

TEST(SetWalk, MissingPathIsAnErrorOfReading) {
    Diary diary;
    const WalkOutcome outcome = SetWalk("/etc/tarn/nothing").run(diary);
    EXPECT_EQ(outcome.error, ENOENT);
    EXPECT_THAT(outcome.problem, HasSubstr("No such file"));
    EXPECT_FALSE(outcome.sound());
    EXPECT_TRUE(diary.lines.empty());
}

TEST(SetWalk, SingleFileMayHoldAnyMessageUnderAnyName) {
    for (const char* name : golden::kNames) {
        testfiles::write("/etc/tarn/single/x.msg", golden::message(name));
        Diary diary;
        const WalkOutcome outcome = SetWalk("/etc/tarn/single/x.msg").run(diary);
        EXPECT_TRUE(outcome.sound()) << name;
        EXPECT_FALSE(outcome.isDirectory);
        EXPECT_EQ(diary.lines.front(), "x.msg " + std::to_string(golden::message(name).size()));
    }
}

TEST(SetWalk, SingleFileIsHeldAgainstTheNamespaceMessageBesideIt) {
    writeWholeSet();
    testfiles::write(at("base_0_net_g_0"), withWord(golden::message("policy-condition"), 148, 3));
    Diary diary;
    SetWalk walk(at("base_0_net_g_0"));
    static_cast<void>(walk.run(diary));
    ASSERT_TRUE(diary.reports.back().finding);
    EXPECT_EQ(diary.reports.back().finding->code, tarnmessage::FindingCode::kUnknownFunction);
    EXPECT_EQ(walk.functions().functionCount(kNet), 2U);

    std::remove(at("namemsg").c_str());
    EXPECT_TRUE(SetWalk(at("base_0_net_g_0")).run(diary).sound()) << "nothing there to look the number up in";
    writeMessage("namemsg", "policy-plain");
    EXPECT_TRUE(SetWalk(at("base_0_net_g_0")).run(diary).sound());
}

TEST(SetWalk, SingleLinkIsNotFollowed) {
    writeWholeSet();
    testfiles::link(at("endmsg"), "/etc/tarn/link");
    Diary diary;
    const WalkOutcome outcome = SetWalk("/etc/tarn/link").run(diary);
    EXPECT_EQ(outcome.error, ELOOP);
    EXPECT_THAT(outcome.problem, HasSubstr("symbolic link"));
}

TEST(SetWalk, FilesThatRefuseTheReaderAreCounted) {
    writeWholeSet();
    ASSERT_EQ(chmod(at("base_0_net_g_0").c_str(), 0), 0);
    ASSERT_EQ(giveUpCapabilities(), 0);
    Diary diary;
    const WalkOutcome outcome = SetWalk(kSet).run(diary);
    EXPECT_EQ(outcome.unreadable, 1U);
    EXPECT_EQ(diary.reports[2].error, EACCES);
    EXPECT_EQ(outcome.records, 2U) << "the others are read all the same";
}

TEST(SetWalk, PathsAreCutAtTheirLastWord) {
    EXPECT_EQ(SetWalk::trimmed("/a/b//"), "/a/b");
    EXPECT_EQ(SetWalk::trimmed("///"), "/");
    EXPECT_EQ(SetWalk::baseName("/a/b/"), "b");
    EXPECT_EQ(SetWalk::folderOf("/a/b/"), "/a");
    EXPECT_EQ(SetWalk::folderOf("/a//b"), "/a");
    EXPECT_EQ(SetWalk::folderOf("/a"), "/");
    EXPECT_EQ(SetWalk::folderOf("a"), ".");
    EXPECT_EQ(SetWalk::folderOf("a/b"), "a");
}
