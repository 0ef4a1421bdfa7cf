#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"
#include "support/WriteFaults.h"

namespace {

using testing::ElementsAre;
using testlog::Line;

std::string stored() {
    return testfiles::read(paths::kUserInfoTmp);
}

TEST(ProcessUserInfo, WritesOneLinePerUser) {
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "alice:1000\n");
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(ProcessUserInfo, WritesTheUsersInTheOrderOfTheTable) {
    ManagerAccess manager;
    for (const char* name : {"alice", "root", "bob", "carol", "daemon"}) {
        manager.setUidInfo(name, 7);
    }
    manager.setUidInfo("root", 0);
    std::string expected;
    for (const auto& [name, uid] : manager.m_mapUserUid) {
        expected += name + ":" + std::to_string(uid) + "\n";
    }
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), expected);
}

TEST(ProcessUserInfo, WithoutUsersTheFileIsEmpty) {
    ManagerAccess manager;
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_TRUE(testfiles::exists(paths::kUserInfoTmp));
    EXPECT_EQ(stored(), "");
}

TEST(ProcessUserInfo, ALaterIdentifierReplacesTheEarlierOne) {
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    manager.setUidInfo("alice", 1001);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "alice:1001\n");
}

TEST(ProcessUserInfo, IdentifiersAreWrittenInFullWithoutSignOrPadding) {
    ManagerAccess manager;
    manager.setUidInfo("last", 4294967295);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "last:4294967295\n");
    manager.setUidInfo("last", 0);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "last:0\n");
}

TEST(ProcessUserInfo, NamesAreWrittenAsTheyWereGiven) {
    ManagerAccess manager;
    manager.setUidInfo("a:b c", 5);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "a:b c:5\n");
}

TEST(ProcessUserInfo, AnOlderFileIsReplacedAsAWhole) {
    testfiles::write(paths::kUserInfoTmp, std::string(1000, 'x'));
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "alice:1000\n");
}

TEST(ProcessUserInfo, LeavesTheFinalFileAlone) {
    testfiles::write(paths::kUserInfo, "old:1\n");
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(testfiles::read(paths::kUserInfo), "old:1\n");
}

TEST(ProcessUserInfo, UsesTheUsualFlagsAndMode) {
    ManagerAccess manager;
    int seenFlags = 0;
    mode_t seenMode = 0;
    auto hook = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if (std::string(path) == paths::kUserInfoTmp) {
            seenFlags = flags;
            seenMode = mode;
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(seenFlags, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW);
    EXPECT_EQ(seenMode, 0440U);
    EXPECT_EQ(testfiles::mode(paths::kUserInfoTmp), 0440U);
}

TEST(ProcessUserInfo, AFileThatCannotBeOpenedIsReportedAsMinusOne) {
    testfiles::makeDirectories(paths::kUserInfoTmp);
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    EXPECT_EQ(manager.processUserInfo(), -1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "####ERROR: Open /etc/tarn/.userinfo failed"},
                                              Line{1, "###ERROR: in processUserInfo, writeFileData error"}));
    EXPECT_EQ(manager.m_mapUserUid.size(), 1U);
}

TEST(ProcessUserInfo, ALinkAtThePathIsNotFollowed) {
    testfiles::link("/etc/tarn/elsewhere", paths::kUserInfoTmp);
    ManagerAccess manager;
    EXPECT_EQ(manager.processUserInfo(), -1);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/elsewhere"));
}

TEST(ProcessUserInfo, AFailingWriteHandsOnItsErrno) {
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    const WriteFaults faults({{paths::kUserInfoTmp, ENOSPC}});
    EXPECT_EQ(manager.processUserInfo(), ENOSPC);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "####ERROR: Write /etc/tarn/.userinfo errno: No space left on device"},
                            Line{1, "###ERROR: in processUserInfo, writeFileData error"}));
    EXPECT_EQ(manager.m_mapUserUid.size(), 1U);
}

TEST(ProcessUserInfo, HoldsTheMutexOfTheUsersOnlyForTheWalk) {
    ManagerAccess manager;
    manager.setUidInfo("alice", 1000);
    MutexTrace trace(manager);
    bool writtenAtRelease = true;
    trace.watch([&](const std::string& step) {
        if (step == "unlock users") {
            writtenAtRelease = testfiles::exists(paths::kUserInfoTmp);
        }
    });
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_THAT(trace.steps(), ElementsAre("lock users", "unlock users"));
    EXPECT_FALSE(writtenAtRelease);
}

TEST(ProcessUserInfo, AFailingLockThrowsASystemErrorAndWritesNothing) {
    ManagerAccess manager;
    MutexTrace trace(manager);
    trace.fail("users", EDEADLK);
    EXPECT_THROW(manager.processUserInfo(), std::system_error);
    EXPECT_FALSE(testfiles::exists(paths::kUserInfoTmp));
}

TEST(ProcessUserInfo, TheFileIsNeverReadBack) {
    testfiles::write(paths::kUserInfo, "old:1\n");
    testfiles::write(paths::kUserInfoTmp, "older:2\n");
    ManagerAccess manager;
    EXPECT_TRUE(manager.m_mapUserUid.empty());
    EXPECT_EQ(manager.processUserInfo(), 0);
    EXPECT_EQ(stored(), "");
}

}  // namespace
