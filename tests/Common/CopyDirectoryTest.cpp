// Copying a tree.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "TreeFixture.h"

namespace {

class CopyDirectory : public TreeTest {};

// Log lines without regard to their order: a directory is walked in the file system's order.
LogLineList sorted(LogLineList lines) {
    std::sort(lines.begin(), lines.end(),
              [](const testlog::Line& a, const testlog::Line& b) { return a.text < b.text; });
    return lines;
}

bool is(const char* name, const char* expected) {
    return std::strcmp(name, expected) == 0;
}

}  // namespace

TEST_F(CopyDirectory, copiesATreeIntoANewDirectory) {
    testfiles::write("/etc/tarn/s/file", "one");
    testfiles::write("/etc/tarn/s/.hidden", "two");
    testfiles::write("/etc/tarn/s/a/b/c/deep", "three");
    testfiles::write("/etc/tarn/s/large", std::string(1500000, 'l'));
    testfiles::makeDirectories("/etc/tarn/s/empty");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), LogLineList{});
    EXPECT_EQ(testfiles::list("/etc/tarn/t"), (std::vector<std::string>{".hidden", "a", "empty", "file", "large"}));
    EXPECT_EQ(testfiles::read("/etc/tarn/t/file"), "one");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/.hidden"), "two");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/a/b/c/deep"), "three");
    EXPECT_TRUE(testfiles::read("/etc/tarn/t/large") == std::string(1500000, 'l'));
    EXPECT_EQ(testfiles::list("/etc/tarn/t/empty"), std::vector<std::string>{});
    EXPECT_EQ(testfiles::read("/etc/tarn/s/file"), "one");
}

TEST_F(CopyDirectory, overwritesFilesOfTheSameNameAndLeavesOthers) {
    testfiles::write("/etc/tarn/s/file", "new");
    testfiles::write("/etc/tarn/s/d/inner", "new");
    testfiles::write("/etc/tarn/t/file", "old and longer");
    testfiles::write("/etc/tarn/t/other", "kept");
    testfiles::write("/etc/tarn/t/d/other", "kept");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/t/file"), "new");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/other"), "kept");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/d/inner"), "new");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/d/other"), "kept");
}

TEST_F(CopyDirectory, createsDirectoriesWithMode0750) {
    testfiles::makeDirectories("/etc/tarn/s/d");
    ASSERT_EQ(chmod("/etc/tarn/s", 0777), 0);
    ASSERT_EQ(chmod("/etc/tarn/s/d", 0700), 0);
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/t"), 0750U);
    EXPECT_EQ(testfiles::mode("/etc/tarn/t/d"), 0750U);
}

TEST_F(CopyDirectory, keepsTheModeOfExistingDirectories) {
    testfiles::makeDirectories("/etc/tarn/s/d");
    testfiles::makeDirectories("/etc/tarn/t/d");
    ASSERT_EQ(chmod("/etc/tarn/t/d", 0701), 0);
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/t/d"), 0701U);
}

TEST_F(CopyDirectory, givesFilesThePermissionBitsOfTheirSource) {
    testfiles::write("/etc/tarn/s/a", "");
    testfiles::write("/etc/tarn/s/b", "");
    ASSERT_EQ(chmod("/etc/tarn/s/a", 0440), 0);
    ASSERT_EQ(chmod("/etc/tarn/s/b", 07777), 0);
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/t/a"), 0440U);
    EXPECT_EQ(testfiles::mode("/etc/tarn/t/b"), 0777U);
}

TEST_F(CopyDirectory, refusesPathsOutsideTheTrees) {
    testfiles::makeDirectories("/etc/tarn/s");
    testfiles::makeDirectories("/etc/outside");
    EXPECT_EQ(copyDirectory("/etc/outside", "/etc/tarn/t"), 1);
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/elsewhere"), 1);
    EXPECT_EQ(testlog::lines(),
              (LogLineList{{1, "##ERROR: copyDirectory illegal path"}, {1, "##ERROR: copyDirectory illegal path"}}));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/t"));
    EXPECT_FALSE(testfiles::exists("/etc/elsewhere"));
}

TEST_F(CopyDirectory, failsOnAMissingSourceAfterCreatingTheTarget) {
    EXPECT_EQ(copyDirectory("/etc/tarn/missing", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("openat source subdir . failed: Bad file descriptor"));
    EXPECT_EQ(testfiles::mode("/etc/tarn/t"), 0750U);
}

TEST_F(CopyDirectory, failsOnASourceThatIsNoDirectory) {
    testfiles::write("/etc/tarn/file", "");
    testfiles::makeDirectories("/etc/tarn/real");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(copyDirectory("/etc/tarn/file", "/etc/tarn/t"), 1);
    EXPECT_EQ(copyDirectory("/etc/tarn/link", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), (LogLineList{{1, "openat source subdir . failed: Bad file descriptor"},
                                             {1, "openat source subdir . failed: Bad file descriptor"}}));
}

TEST_F(CopyDirectory, failsOnASourceThatOpensAsDescriptorZero) {
    testfiles::write("/etc/tarn/s/file", "");
    const auto open = interpose::open.replace([](const char* path, int flags, mode_t mode) {
        if (is(path, "/etc/tarn/s")) {
            errno = EMFILE;
            return 0;
        }
        return interpose::open.real(path, flags, mode);
    });
    const auto close = interpose::close.replace([](int fd) { return fd == 0 ? 0 : interpose::close.real(fd); });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyDirectory, open srcdir error: Too many open files"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/t"));
}

TEST_F(CopyDirectory, failsWhenTheTargetCannotBeCreated) {
    testfiles::makeDirectories("/etc/tarn/s");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/missing/t"), 1);
    EXPECT_EQ(testlog::lines(), error("mkdir dest /etc/tarn/missing/t failed: No such file or directory"));
}

TEST_F(CopyDirectory, takesATargetThatSomebodyCreatesMeanwhile) {
    testfiles::write("/etc/tarn/s/file", "x");
    const auto mkdir = interpose::mkdir.replace([](const char* path, mode_t mode) {
        EXPECT_STREQ(path, "/etc/tarn/t");
        EXPECT_EQ(mode, 0750U);
        interpose::mkdir.real(path, mode);
        errno = EEXIST;
        return -1;
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/t/file"), "x");
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CopyDirectory, failsWhenTheTargetIsNoDirectory) {
    testfiles::makeDirectories("/etc/tarn/s");
    testfiles::write("/etc/tarn/t", "kept");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("open dest dir /etc/tarn/t failed: Not a directory"));
    EXPECT_EQ(testfiles::read("/etc/tarn/t"), "kept");
}

TEST_F(CopyDirectory, doesNotFollowALinkAsTarget) {
    testfiles::write("/etc/tarn/s/file", "");
    testfiles::makeDirectories("/etc/tarn/real");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/link"), 1);
    EXPECT_EQ(testlog::lines(), error("open dest dir /etc/tarn/link" + because(ENOTDIR)));
    EXPECT_EQ(testfiles::list("/etc/tarn/real"), std::vector<std::string>{});
}

TEST_F(CopyDirectory, skipsLinks) {
    testfiles::write("/etc/tarn/s/file", "x");
    testfiles::link("/etc/tarn/s/file", "/etc/tarn/s/link");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("openat source file link failed: Too many levels of symbolic links"));
    EXPECT_EQ(testfiles::list("/etc/tarn/t"), std::vector<std::string>{"file"});
}

TEST_F(CopyDirectory, skipsLinksToDirectories) {
    testfiles::makeDirectories("/etc/outside/d");
    testfiles::makeDirectories("/etc/tarn/s");
    testfiles::link("/etc/outside", "/etc/tarn/s/link");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("openat source file link failed: Too many levels of symbolic links"));
    EXPECT_EQ(testfiles::list("/etc/tarn/t"), std::vector<std::string>{});
}

TEST_F(CopyDirectory, skipsFilesThatCannotBeRead) {
    testfiles::write("/etc/tarn/s/a", "x");
    testfiles::write("/etc/tarn/s/b", "x");
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    const struct sockaddr_un address { AF_UNIX, "/etc/tarn/s/socket" };
    ASSERT_EQ(bind(fd, reinterpret_cast<const struct sockaddr*>(&address), sizeof address), 0);
    ::close(fd);
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("openat source file socket" + because(ENXIO)));
    EXPECT_EQ(testfiles::list("/etc/tarn/t"), (std::vector<std::string>{"a", "b"}));
}

TEST_F(CopyDirectory, skipsFilesThatCannotBeWritten) {
    testfiles::write("/etc/tarn/s/a", "x");
    testfiles::write("/etc/tarn/s/b", "x");
    testfiles::makeDirectories("/etc/tarn/t/a");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("openat dest file a failed: Is a directory"));
    EXPECT_EQ(testfiles::read("/etc/tarn/t/b"), "x");
}

TEST_F(CopyDirectory, doesNotWriteThroughALinkInTheTarget) {
    testfiles::write("/etc/tarn/s/a", "new");
    testfiles::write("/etc/tarn/real", "kept");
    testfiles::makeDirectories("/etc/tarn/t");
    testfiles::link("/etc/tarn/real", "/etc/tarn/t/a");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("openat dest file a failed: Too many levels of symbolic links"));
    EXPECT_EQ(testfiles::read("/etc/tarn/real"), "kept");
}

TEST_F(CopyDirectory, skipsAnEntryOfUnknownKind) {
    testfiles::write("/etc/tarn/s/a", "x");
    testfiles::write("/etc/tarn/s/b", "x");
    const auto fstatat = interpose::fstatat.replace([](int fd, const char* name, struct stat* status, int flags) {
        EXPECT_EQ(flags, AT_SYMLINK_NOFOLLOW);
        if (is(name, "a")) {
            errno = EIO;
            return -1;
        }
        return interpose::fstatat.real(fd, name, status, flags);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("fstatat a failed: Input/output error"));
    EXPECT_EQ(testfiles::list("/etc/tarn/t"), std::vector<std::string>{"b"});
}

TEST_F(CopyDirectory, goesOnAfterATransferThatFails) {
    testfiles::write("/etc/tarn/s/a", "a");
    testfiles::write("/etc/tarn/s/b", "bb");
    testfiles::write("/etc/tarn/s/c", "ccc");
    const auto sendfile = interpose::sendfile.replace([](int out, int in, off_t* offset, std::size_t count) -> ssize_t {
        if (count == 2) {
            errno = ENOSPC;
            return -1;
        }
        return interpose::sendfile.real(out, in, offset, count);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), error("sendfile b failed: No space left on device"));
    EXPECT_EQ(testfiles::read("/etc/tarn/t/a"), "a");
    EXPECT_EQ(testfiles::read("/etc/tarn/t/c"), "ccc");
}

TEST_F(CopyDirectory, triesATransferAgainAfterAnInterruption) {
    testfiles::write("/etc/tarn/s/a", "0123456789");
    int calls = 0;
    const auto sendfile = interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t) -> ssize_t {
        ++calls;
        if (calls == 1 || calls == 3) {
            errno = calls == 1 ? EINTR : EAGAIN;
            return -1;
        }
        return interpose::sendfile.real(out, in, offset, 5);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/t/a"), "0123456789");
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CopyDirectory, endsATransferWhenTheSourceShrinksMeanwhile) {
    testfiles::write("/etc/tarn/s/a", "0123456789");
    int calls = 0;
    const auto sendfile = interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t count) {
        ++calls;
        EXPECT_EQ(truncate("/etc/tarn/s/a", 4), 0);
        return interpose::sendfile.real(out, in, offset, count);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(testlog::lines(), LogLineList{});
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(testfiles::read("/etc/tarn/t/a"), "0123");
}

TEST_F(CopyDirectory, failsWhenADirectoryCannotBeRead) {
    testfiles::makeDirectories("/etc/tarn/s/d");
    const auto openat = interpose::openat.replace([](int fd, const char* name, int flags, mode_t mode) {
        if (is(name, "d")) {
            errno = EACCES;
            return -1;
        }
        return interpose::openat.real(fd, name, flags, mode);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("openat source subdir d failed: Permission denied"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/t/d"));
}

TEST_F(CopyDirectory, failsWhenADirectoryCannotBeCreated) {
    testfiles::makeDirectories("/etc/tarn/s/d");
    const auto mkdirat = interpose::mkdirat.replace([](int fd, const char* name, mode_t mode) {
        EXPECT_EQ(mode, 0750U);
        if (is(name, "d")) {
            errno = ENOSPC;
            return -1;
        }
        return interpose::mkdirat.real(fd, name, mode);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("mkdirat dest subdir d failed: No space left on device"));
}

TEST_F(CopyDirectory, failsWhenAFileStandsWhereADirectoryShould) {
    testfiles::write("/etc/tarn/s/d/file", "");
    testfiles::write("/etc/tarn/t/d", "kept");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("openat dest subdir d failed: Not a directory"));
    EXPECT_EQ(testfiles::read("/etc/tarn/t/d"), "kept");
}

TEST_F(CopyDirectory, doesNotFollowALinkWhereADirectoryShouldStand) {
    testfiles::write("/etc/tarn/s/d/file", "");
    testfiles::makeDirectories("/etc/tarn/real");
    testfiles::makeDirectories("/etc/tarn/t");
    testfiles::link("/etc/tarn/real", "/etc/tarn/t/d");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("openat dest subdir d" + because(ENOTDIR)));
    EXPECT_EQ(testfiles::list("/etc/tarn/real"), std::vector<std::string>{});
}

TEST_F(CopyDirectory, failsWithoutADirectoryStream) {
    testfiles::write("/etc/tarn/s/d/file", "");
    int calls = 0;
    const auto fdopendir = interpose::fdopendir.replace([&](int fd) -> DIR* {
        if (++calls == 2) {
            errno = ENOMEM;
            return nullptr;
        }
        return interpose::fdopendir.real(fd);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(testlog::lines(), error("fdopendir failed for d"));
}

TEST_F(CopyDirectory, stopsAtADirectoryThatFails) {
    testfiles::write("/etc/tarn/s/a/x", "");
    testfiles::write("/etc/tarn/s/b/x", "");
    testfiles::write("/etc/tarn/s/c/x", "");
    int failures = 0;
    const auto openat = interpose::openat.replace([&](int fd, const char* name, int flags, mode_t mode) {
        if (std::strchr("abc", name[0]) != nullptr) {
            ++failures;
            errno = EACCES;
            return -1;
        }
        return interpose::openat.real(fd, name, flags, mode);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 1);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(testlog::lines().size(), 1U);
}

TEST_F(CopyDirectory, opensEverythingWithoutFollowingLinks) {
    testfiles::write("/etc/tarn/s/d/file", "");
    ASSERT_EQ(chmod("/etc/tarn/s/d/file", 0604), 0);
    testfiles::makeDirectories("/etc/tarn/t");
    using Opens = std::vector<std::tuple<std::string, int>>;
    Opens opens;
    mode_t fileMode = 0;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opens.emplace_back(path, flags);
        return interpose::open.real(path, flags, mode);
    });
    const auto openat = interpose::openat.replace([&](int fd, const char* name, int flags, mode_t mode) {
        opens.emplace_back(name, flags);
        fileMode = (flags & O_CREAT) != 0 ? mode : fileMode;
        return interpose::openat.real(fd, name, flags, mode);
    });
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    constexpr int kDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
    EXPECT_EQ(opens, (Opens{{"/etc/tarn/s", kDirectory},
                            {"/etc/tarn/t", kDirectory},
                            {".", kDirectory},
                            {".", kDirectory},
                            {"d", kDirectory},
                            {"d", kDirectory},
                            {"file", O_RDONLY | O_NOFOLLOW},
                            {"file", O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW}}));
    EXPECT_EQ(fileMode, 0604U);
}

TEST_F(CopyDirectory, reportsEveryFileThatItSkips) {
    testfiles::makeDirectories("/etc/tarn/s/d");
    testfiles::link("/x", "/etc/tarn/s/one");
    testfiles::link("/x", "/etc/tarn/s/two");
    testfiles::link("/x", "/etc/tarn/s/d/three");
    EXPECT_EQ(copyDirectory("/etc/tarn/s", "/etc/tarn/t"), 0);
    EXPECT_EQ(sorted(testlog::lines()), (LogLineList{{1, "openat source file one" + because(ELOOP)},
                                                     {1, "openat source file three" + because(ELOOP)},
                                                     {1, "openat source file two" + because(ELOOP)}}));
}

TEST_F(CopyDirectory, takesNoNullPath) {
    EXPECT_THROW(copyDirectory(nullptr, "/etc/tarn/b"), std::logic_error);
    EXPECT_THROW(copyDirectory("/etc/tarn/a", nullptr), std::logic_error);
}
