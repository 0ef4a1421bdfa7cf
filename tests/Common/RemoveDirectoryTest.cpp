// Removing a tree, and creating a directory.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>

#include "TreeFixture.h"

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

class RemoveDirectory : public TreeTest {};
class CreateDirectory : public TreeTest {};

void makeSocket(const char* path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address), 0);
    close(fd);
}

}  // namespace

TEST_F(RemoveDirectory, removesAnEmptyOne) {
    testfiles::makeDirectories("/etc/tarn/.policydata");
    EXPECT_EQ(removeDirectory("/etc/tarn/.policydata"), 0);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/.policydata"));
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RemoveDirectory, removesATreeOfEveryKindOfObject) {
    testfiles::write("/etc/tarn/d/a/b/c/file", "x");
    testfiles::write("/etc/tarn/d/.hidden", "x");
    testfiles::write("/etc/tarn/d/readonly", "x");
    testfiles::makeDirectories("/etc/tarn/d/empty");
    testfiles::link("/nowhere", "/etc/tarn/d/dangling");
    ASSERT_EQ(chmod("/etc/tarn/d/readonly", 0440), 0);
    ASSERT_EQ(mkfifo("/etc/tarn/d/fifo", 0600), 0);
    makeSocket("/etc/tarn/d/socket");
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_EQ(testfiles::list("/etc/tarn"), std::vector<std::string>{});
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RemoveDirectory, removesManyEntries) {
    for (int i = 0; i < 3000; ++i) {
        testfiles::write("/etc/tarn/d/" + std::to_string(i), "");
    }
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/d"));
}

TEST_F(RemoveDirectory, leavesItsNeighboursAlone) {
    testfiles::write("/etc/tarn/d/x", "");
    testfiles::write("/etc/tarn/d2/x", "");
    testfiles::write("/etc/tarn/e", "");
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_EQ(testfiles::list("/etc/tarn"), (std::vector<std::string>{"d2", "e"}));
}

TEST_F(RemoveDirectory, removesALinkAndNotWhatItPointsTo) {
    testfiles::write("/etc/outside/file", "kept");
    testfiles::makeDirectories("/etc/tarn/d/inner");
    testfiles::link("/etc/outside", "/etc/tarn/d/link");
    testfiles::link("/etc/outside/file", "/etc/tarn/d/inner/link");
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/d"));
    EXPECT_EQ(testfiles::read("/etc/outside/file"), "kept");
}

TEST_F(RemoveDirectory, refusesAPathOutsideTheTrees) {
    testfiles::makeDirectories("/etc/outside");
    EXPECT_EQ(removeDirectory("/etc/outside"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: removeDirectory illegal path /etc/outside"));
    EXPECT_TRUE(testfiles::exists("/etc/outside"));
}

TEST_F(RemoveDirectory, refusesThePlainWord) {
    EXPECT_EQ(removeDirectory("word"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: removeDirectory illegal path word"));
}

TEST_F(RemoveDirectory, refusesATrailingSlash) {
    testfiles::makeDirectories("/etc/tarn/.policydata");
    EXPECT_EQ(removeDirectory("/etc/tarn/.policydata/"), 1);
    EXPECT_EQ(testlog::lines(), error("Invalid base component: "));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/.policydata"));
}

TEST_F(RemoveDirectory, refusesOneDotAsTheLastComponent) {
    testfiles::makeDirectories("/etc/tarn/d");
    EXPECT_EQ(removeDirectory("/etc/tarn/d/."), 1);
    EXPECT_EQ(testlog::lines(), error("Invalid base component: ."));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d"));
}

TEST_F(RemoveDirectory, refusesTwoDotsAsTheLastComponent) {
    testfiles::makeDirectories("/etc/tarn/d/inner");
    EXPECT_EQ(removeDirectory("/etc/tarn/d/inner/.."), 1);
    EXPECT_EQ(testlog::lines(), error("Invalid base component: .."));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/inner"));
}

TEST_F(RemoveDirectory, failsWithoutAParent) {
    EXPECT_EQ(removeDirectory("/etc/tarn/missing/d"), 1);
    EXPECT_EQ(testlog::lines(), error("open parent /etc/tarn/missing failed: No such file or directory"));
}

TEST_F(RemoveDirectory, doesNotFollowALinkAsParent) {
    testfiles::makeDirectories("/etc/tarn/real/d");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(removeDirectory("/etc/tarn/link/d"), 1);
    EXPECT_EQ(testlog::lines(), error("open parent /etc/tarn/link" + because(ENOTDIR)));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/real/d"));
}

TEST_F(RemoveDirectory, failsForAMissingDirectory) {
    EXPECT_EQ(removeDirectory("/etc/tarn/missing"), 1);
    EXPECT_EQ(testlog::lines(), error("openat missing failed: No such file or directory"));
}

TEST_F(RemoveDirectory, failsForAFile) {
    testfiles::write("/etc/tarn/file", "x");
    EXPECT_EQ(removeDirectory("/etc/tarn/file"), 1);
    EXPECT_EQ(testlog::lines(), error("openat file" + because(ENOTDIR)));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/file"));
}

TEST_F(RemoveDirectory, failsForALinkToADirectory) {
    testfiles::write("/etc/tarn/real/file", "x");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(removeDirectory("/etc/tarn/link"), 1);
    EXPECT_EQ(testlog::lines(), error("openat link" + because(ENOTDIR)));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/link"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/real/file"));
}

TEST_F(RemoveDirectory, opensEveryDirectoryWithoutFollowingLinks) {
    testfiles::makeDirectories("/etc/tarn/d/inner");
    std::vector<std::pair<std::string, int>> opens;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opens.emplace_back(path, flags);
        return interpose::open.real(path, flags, mode);
    });
    const auto openat = interpose::openat.replace([&](int fd, const char* name, int flags, mode_t mode) {
        opens.emplace_back(name, flags);
        return interpose::openat.real(fd, name, flags, mode);
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_EQ(opens, (std::vector<std::pair<std::string, int>>{
                         {"/etc/tarn", kDirectoryFlags}, {"d", kDirectoryFlags}, {"inner", kDirectoryFlags}}));
}

TEST_F(RemoveDirectory, asksForTheKindOfAnEntryWithoutFollowingLinks) {
    testfiles::write("/etc/tarn/d/file", "");
    std::vector<std::pair<std::string, int>> queries;
    const auto fstatat = interpose::fstatat.replace([&](int fd, const char* name, struct stat* status, int flags) {
        queries.emplace_back(name, flags);
        return interpose::fstatat.real(fd, name, status, flags);
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 0);
    EXPECT_EQ(queries, (std::vector<std::pair<std::string, int>>{{"file", AT_SYMLINK_NOFOLLOW}}));
}

TEST_F(RemoveDirectory, failsWithoutADirectoryStream) {
    testfiles::write("/etc/tarn/d/file", "");
    const auto fdopendir = interpose::fdopendir.replace([](int) -> DIR* {
        errno = ENOMEM;
        return nullptr;
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("fdopendir failed for d"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/file"));
}

TEST_F(RemoveDirectory, skipsAnEntryOfUnknownKindAndFailsAtTheEnd) {
    testfiles::write("/etc/tarn/d/a", "");
    testfiles::write("/etc/tarn/d/b", "");
    testfiles::write("/etc/tarn/d/c", "");
    const auto fstatat = interpose::fstatat.replace([](int fd, const char* name, struct stat* status, int flags) {
        if (std::strcmp(name, "b") == 0) {
            errno = EIO;
            return -1;
        }
        return interpose::fstatat.real(fd, name, status, flags);
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), (LogLineList{{1, "fstatat b failed: Input/output error"},
                                             {1, "unlinkat remove d failed: Directory not empty"}}));
    EXPECT_EQ(testfiles::list("/etc/tarn/d"), std::vector<std::string>{"b"});
}

TEST_F(RemoveDirectory, stopsAtAFileThatCannotBeRemoved) {
    testfiles::write("/etc/tarn/d/file", "");
    const auto unlinkat = interpose::unlinkat.replace([](int, const char*, int flags) {
        EXPECT_EQ(flags, 0);
        errno = EPERM;
        return -1;
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("unlinkat file failed: Operation not permitted"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/file"));
}

TEST_F(RemoveDirectory, stopsAtTheFirstFileThatCannotBeRemoved) {
    for (const char* name : {"a", "b", "c", "e"}) {
        testfiles::write(std::string("/etc/tarn/d/") + name, "");
    }
    int calls = 0;
    const auto unlinkat = interpose::unlinkat.replace([&](int fd, const char* name, int flags) {
        if (++calls == 2) {
            errno = EPERM;
            return -1;
        }
        return interpose::unlinkat.real(fd, name, flags);
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(testlog::lines().size(), 1U);
    EXPECT_EQ(testfiles::list("/etc/tarn/d").size(), 3U) << "what was removed stays removed, the rest stays";
}

TEST_F(RemoveDirectory, failsWhenTheDirectoryItselfCannotBeRemoved) {
    testfiles::makeDirectories("/etc/tarn/d");
    const auto unlinkat = interpose::unlinkat.replace([](int, const char* name, int flags) {
        EXPECT_STREQ(name, "d");
        EXPECT_EQ(flags, AT_REMOVEDIR);
        errno = EBUSY;
        return -1;
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("unlinkat remove d failed: Device or resource busy"));
}

TEST_F(RemoveDirectory, reportsAFailureInsideOnceOnly) {
    testfiles::write("/etc/tarn/d/inner/deep/file", "");
    const auto unlinkat = interpose::unlinkat.replace([](int fd, const char* name, int flags) {
        if (std::strcmp(name, "file") == 0) {
            errno = EPERM;
            return -1;
        }
        return interpose::unlinkat.real(fd, name, flags);
    });
    EXPECT_EQ(removeDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("unlinkat file failed: Operation not permitted"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/inner/deep/file"));
}

TEST_F(RemoveDirectory, failsOnAReadOnlyFileSystem) {
    testfiles::makeDirectories("/etc/tarn/mounted");
    if (mount("fixed", "/etc/tarn/mounted", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    testfiles::write("/etc/tarn/mounted/d/file", "");
    if (mount("fixed", "/etc/tarn/mounted", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
        GTEST_SKIP() << "a file system can't be made read-only here";
    }
    EXPECT_EQ(removeDirectory("/etc/tarn/mounted/d"), 1);
    EXPECT_EQ(testlog::lines(), error("unlinkat file failed: Read-only file system"));
}

TEST_F(RemoveDirectory, failsOnAMountPoint) {
    testfiles::makeDirectories("/etc/tarn/mounted");
    if (mount("busy", "/etc/tarn/mounted", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    testfiles::write("/etc/tarn/mounted/file", "");
    EXPECT_EQ(removeDirectory("/etc/tarn/mounted"), 1);
    EXPECT_EQ(testlog::lines(), error("unlinkat remove mounted" + because(EBUSY)));
    EXPECT_EQ(testfiles::list("/etc/tarn/mounted"), std::vector<std::string>{});
}

TEST_F(RemoveDirectory, takesNoNullPath) {
    EXPECT_THROW(removeDirectory(nullptr), std::logic_error);
}

TEST_F(CreateDirectory, hasMode0750) {
    EXPECT_EQ(createDirectory("/etc/tarn/.policydata"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/.policydata"), 0750U);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CreateDirectory, obeysTheUmask) {
    umask(0027);
    EXPECT_EQ(createDirectory("/etc/tarn/a"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/a"), 0750U);
    umask(0077);
    EXPECT_EQ(createDirectory("/etc/tarn/b"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/b"), 0700U);
}

TEST_F(CreateDirectory, takesATrailingSlash) {
    EXPECT_EQ(createDirectory("/etc/tarn/d/"), 0);
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d"));
}

TEST_F(CreateDirectory, refusesAPathOutsideTheTrees) {
    EXPECT_EQ(createDirectory("/etc/outside"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: createDirectory illegal path /etc/outside"));
    EXPECT_FALSE(testfiles::exists("/etc/outside"));
}

TEST_F(CreateDirectory, failsForAnExistingOne) {
    testfiles::write("/etc/tarn/d/file", "");
    EXPECT_EQ(createDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func createDirectory, mkdir error: File exists"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/file"));
}

TEST_F(CreateDirectory, failsOnADanglingLink) {
    testfiles::link("/etc/tarn/missing", "/etc/tarn/link");
    EXPECT_EQ(createDirectory("/etc/tarn/link"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func createDirectory, mkdir error: File exists"));
}

TEST_F(CreateDirectory, makesNoParents) {
    EXPECT_EQ(createDirectory("/etc/tarn/missing/d"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func createDirectory, mkdir error: No such file or directory"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/missing"));
}

TEST_F(CreateDirectory, reportsTheSystemsError) {
    const auto mkdir = interpose::mkdir.replace([](const char* path, mode_t mode) {
        EXPECT_STREQ(path, "/etc/tarn/d");
        EXPECT_EQ(mode, 0750U);
        errno = ENOSPC;
        return -1;
    });
    EXPECT_EQ(createDirectory("/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func createDirectory, mkdir error: No space left on device"));
}

TEST_F(CreateDirectory, takesNoNullPath) {
    EXPECT_THROW(createDirectory(nullptr), std::logic_error);
}
