// The checks that keep every path inside the two trees.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"

namespace {

using namespace std::string_literals;
using Lines = std::vector<testlog::Line>;

const std::vector<std::string> kMissingAndAccepted{
    "/etc/tarn/a",
    "/etc/tarn/a/b",
    "/etc/tarn/.policydata/beginmsg",
    "/etc/tarn/a/",
    "/etc/tarn//a",
    "/etc/tarn/..a/b",
    "/etc/tarn/a..b",
    "/etc/tarn/a b",
    "/etc/tarn/标签",
    "/etc/tarn/missing/..",
    "/etc/tarn/missing/.",
    "/sys/kernel/security/tarn/policy_deliver",
    "/sys/kernel/security/tarn/paras/ns/var",
};

const std::vector<std::string> kRefusedByTheirText{
    "",
    "x",
    "etc/tarn/x",
    "./etc/tarn/x",
    " /etc/tarn/x",
    "/",
    "/e",
    "/etc",
    "/etc/",
    "/etc/tar",
    "/etc/tarn",
    "/etc/tarnish/x",
    "/etc/tarn.d/x",
    "/etc/Tarn/x",
    "/ETC/TARN/x",
    "//etc/tarn/x",
    "/etc//tarn/x",
    "/tmp/etc/tarn/x",
    "/sys/kernel/security/",
    "/sys/kernel/security/tarn",
    "/sys/kernel/security/tarnx/policy_deliver",
    "/sys/kernel/security/other",
    "/var/log/tarn-policy.log",
    "/etc/tarn/../passwd",
    "/etc/tarn/a/../../b",
    "/etc/tarn/./a",
    "/etc/tarn/a./b",
    "/etc/tarn/a../b",
    "/etc/tarn/a\\b",
    "/etc/tarn/\\",
    "/etc/tarn/a\0/../b"s,
};

}  // namespace

TEST(PathExist, isTrueForWhatIsThere) {
    testfiles::write("/etc/tarn/file", "");
    testfiles::makeDirectories("/etc/tarn/dir");
    EXPECT_TRUE(pathExist("/etc/tarn/file"));
    EXPECT_TRUE(pathExist("/etc/tarn/dir"));
    EXPECT_TRUE(pathExist("/"));
}

TEST(PathExist, isFalseForWhatIsMissing) {
    testfiles::write("/etc/tarn/file", "");
    EXPECT_FALSE(pathExist("/etc/tarn/missing"));
    EXPECT_FALSE(pathExist("/etc/tarn/file/below"));
    EXPECT_FALSE(pathExist(""));
}

TEST(PathExist, followsLinks) {
    testfiles::write("/etc/tarn/file", "");
    testfiles::link("/etc/tarn/file", "/etc/tarn/link");
    testfiles::link("/etc/tarn/missing", "/etc/tarn/dangling");
    EXPECT_TRUE(pathExist("/etc/tarn/link"));
    EXPECT_FALSE(pathExist("/etc/tarn/dangling"));
}

TEST(PathExist, asksForExistenceOnly) {
    int asked = -1;
    const auto access = interpose::access.replace([&](const char*, int mode) {
        asked = mode;
        return 1;  // anything but -1
    });
    EXPECT_TRUE(pathExist("/etc/tarn/missing"));
    EXPECT_EQ(asked, F_OK);
}

TEST(PathExist, isFalseForEveryError) {
    for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG}) {
        const auto access = interpose::access.replace([&](const char*, int) {
            errno = error;
            return -1;
        });
        EXPECT_FALSE(pathExist("/"));
    }
}

TEST(HasPathEscape, isTrueForDotsBeforeASlashAndForBackslashes) {
    for (const std::string& path : {"../"s, "/../"s, "a/../b"s, "a../b"s, "./"s, "./a"s, "/a/./b"s, "a./b"s, ".../"s,
                                    "\\"s, "/a\\b"s, "a\\"s, "/etc/tarn/../../x"s, "a\0./"s, "a\0\\"s}) {
        EXPECT_TRUE(HasPathEscape(path)) << path;
    }
}

TEST(HasPathEscape, isFalseForEverythingElse) {
    for (const std::string& path :
         {""s, "/"s, "."s, ".."s, "/."s, "/.."s, "/etc/tarn/.."s, "/etc/tarn/."s, "/.hidden/x"s, "/..hidden/x"s,
          "a.b/c"s, "//"s, "a b"s, "/\x01\x7f\n"s, "/标签"s, "~/x"s, "$HOME"s, "/a;b|c"s, "/a\0b"s}) {
        EXPECT_FALSE(HasPathEscape(path)) << path;
    }
}

TEST(SafePath, acceptsMissingPathsUnderTheTwoTrees) {
    for (const std::string& path : kMissingAndAccepted) {
        EXPECT_TRUE(IsSafeAbsolutePath(path)) << path;
    }
}

TEST(SafePath, refusesByTheText) {
    for (const std::string& path : kRefusedByTheirText) {
        EXPECT_FALSE(IsSafeAbsolutePath(path)) << path;
    }
}

TEST(SafePath, logsNothing) {
    setLogLevel(4);
    for (const std::string& path : kRefusedByTheirText) {
        IsSafeAbsolutePath(path);
    }
    for (const std::string& path : kMissingAndAccepted) {
        IsSafeAbsolutePath(path);
    }
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(SafePath, asksTheFileSystemNothingAboutPathsRefusedByTheirText) {
    int queries = 0;
    const auto access = interpose::access.replace([&](const char*, int) {
        ++queries;
        return 0;
    });
    const auto realpath = interpose::realpath.replace([&](const char*, char*) -> char* {
        ++queries;
        return nullptr;
    });
    for (const std::string& path : kRefusedByTheirText) {
        IsSafeAbsolutePath(path);
    }
    EXPECT_EQ(queries, 0);
}

TEST(SafePath, asksOnlyForExistenceOfAMissingPath) {
    std::vector<std::pair<std::string, int>> accesses;
    int resolved = 0;
    const auto access = interpose::access.replace([&](const char* path, int mode) {
        accesses.emplace_back(path, mode);
        return interpose::access.real(path, mode);
    });
    const auto realpath = interpose::realpath.replace([&](const char*, char*) -> char* {
        ++resolved;
        return nullptr;
    });
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/a/b"));
    EXPECT_EQ(accesses, (std::vector<std::pair<std::string, int>>{{"/etc/tarn/a/b", F_OK}}));
    EXPECT_EQ(resolved, 0);
}

TEST(SafePath, acceptsWhatExistsUnderTheTwoTrees) {
    testfiles::write("/etc/tarn/dir/file", "");
    testfiles::write("/sys/kernel/security/tarn/entry", "");
    for (const char* path : {"/etc/tarn/dir", "/etc/tarn/dir/", "/etc/tarn/dir/file", "/etc/tarn//dir//file",
                             "/etc/tarn/dir/.", "/sys/kernel/security/tarn/entry"}) {
        EXPECT_TRUE(IsSafeAbsolutePath(path)) << path;
    }
}

TEST(SafePath, refusesTheTreeItselfWhereItExists) {
    ASSERT_TRUE(testfiles::exists("/etc/tarn"));
    ASSERT_TRUE(testfiles::exists("/sys/kernel/security/tarn"));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/"));
    EXPECT_FALSE(IsSafeAbsolutePath("/sys/kernel/security/tarn/"));
}

TEST(SafePath, acceptsTheKernelTreeWhereItIsMissing) {
    umount2("/sys/kernel/security/tarn", MNT_DETACH);  // where it is a mount of its own
    ASSERT_EQ(rename("/sys/kernel/security/tarn", "/sys/kernel/security/elsewhere"), 0);
    EXPECT_TRUE(IsSafeAbsolutePath("/sys/kernel/security/tarn/"));
    EXPECT_FALSE(IsSafeAbsolutePath("/sys/kernel/security/tarn"));
}

TEST(SafePath, acceptsTheConfigurationTreeWhereItIsMissing) {
    if (mount("empty", "/etc", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted over /etc";
    }
    ASSERT_FALSE(testfiles::exists("/etc/tarn"));
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/"));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn"));
    umount2("/etc", MNT_DETACH);
}

TEST(SafePath, refusesDotsThatLeaveTheTreeAtTheVeryEnd) {
    testfiles::makeDirectories("/etc/tarn/dir");
    EXPECT_FALSE(HasPathEscape("/etc/tarn/.."));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/.."));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/."));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/dir/.."));
}

TEST(SafePath, acceptsDotsThatStayInTheTreeAtTheVeryEnd) {
    testfiles::makeDirectories("/etc/tarn/dir/inner");
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/dir/inner/.."));
}

TEST(SafePath, refusesALinkThatLeavesTheTrees) {
    testfiles::link("/tmp", "/etc/tarn/link");
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/link"));
}

TEST(SafePath, refusesWhatExistsBehindALinkThatLeavesTheTrees) {
    testfiles::link("/", "/etc/tarn/link");
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/link/etc"));
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/link/"));
}

TEST(SafePath, refusesALinkToANeighbourWithALongerName) {
    testfiles::makeDirectories("/etc/tarnish");
    testfiles::link("/etc/tarnish", "/etc/tarn/link");
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/link"));
}

TEST(SafePath, acceptsALinkThatStaysInTheTrees) {
    testfiles::write("/etc/tarn/file", "");
    testfiles::write("/sys/kernel/security/tarn/entry", "");
    testfiles::link("/etc/tarn/file", "/etc/tarn/inside");
    testfiles::link("/sys/kernel/security/tarn/entry", "/etc/tarn/across");
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/inside"));
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/across"));
}

TEST(SafePath, judgesADanglingLinkByItsText) {
    testfiles::link("/tmp/missing", "/etc/tarn/dangling");
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/dangling"));
}

TEST(SafePath, judgesALoopOfLinksByItsText) {
    testfiles::link("/etc/tarn/b", "/etc/tarn/a");
    testfiles::link("/etc/tarn/a", "/etc/tarn/b");
    EXPECT_TRUE(IsSafeAbsolutePath("/etc/tarn/a"));
}

TEST(SafePath, refusesWhatCannotBeResolved) {
    testfiles::write("/etc/tarn/file", "");
    std::vector<std::string> resolved;
    const auto realpath = interpose::realpath.replace([&](const char* path, char* buffer) -> char* {
        EXPECT_EQ(buffer, nullptr);
        resolved.emplace_back(path);
        errno = EACCES;
        return nullptr;
    });
    EXPECT_FALSE(IsSafeAbsolutePath("/etc/tarn/file"));
    EXPECT_EQ(resolved, std::vector<std::string>{"/etc/tarn/file"});
}

TEST(SafePath, answersSeveralThreadsFromTheFirstCallOn) {
    testfiles::write("/etc/tarn/file", "");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 200; ++call) {
                const bool right = IsSafeAbsolutePath("/etc/tarn/file") && !IsSafeAbsolutePath("/etc/passwd") &&
                                   IsSafeAbsolutePath("/sys/kernel/security/tarn/missing");
                wrong += right ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(SafeDirectory, existsAsWhateverKind) {
    testfiles::makeDirectories("/etc/tarn/dir");
    testfiles::write("/etc/tarn/file", "");
    EXPECT_TRUE(SafeDirectoryExists("/etc/tarn/dir"));
    EXPECT_TRUE(SafeDirectoryExists("/etc/tarn/file"));
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(SafeDirectory, isSilentlyFalseWhereNothingIs) {
    EXPECT_FALSE(SafeDirectoryExists("/etc/tarn/missing"));
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(SafeDirectory, refusesAnUnsafePathWithAnError) {
    for (const std::string path : {"/tmp", "/etc/tarn", "/etc/tarn/", "", "/etc/tarn/../tarn/x", "relative"}) {
        testlog::clear();
        EXPECT_FALSE(SafeDirectoryExists(path)) << path;
        EXPECT_EQ(testlog::lines(), (Lines{{1, "Illegal path in directoryExists: " + path}}));
    }
}
