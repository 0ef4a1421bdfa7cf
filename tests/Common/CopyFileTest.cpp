// Copying one file.
#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "TreeFixture.h"

namespace {

class CopyFile : public TreeTest {};

std::string content(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text += static_cast<char>(i * 2654435761U >> 7);
    }
    return text;
}

}  // namespace

TEST_F(CopyFile, copiesTheWholeContent) {
    for (const std::size_t length : {1UL, 4095UL, 4096UL, 4097UL, 3UL * 1048576 + 1}) {
        testfiles::write("/etc/tarn/a", content(length));
        EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
        EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(length)) << length;
    }
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CopyFile, copiesAnEmptyFileWithoutATransfer) {
    testfiles::write("/etc/tarn/a", "");
    int transfers = 0;
    const auto sendfile = interpose::sendfile.replace([&](int, int, off_t*, std::size_t) -> ssize_t {
        ++transfers;
        return 0;
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_TRUE(testfiles::exists("/etc/tarn/b"));
    EXPECT_EQ(transfers, 0);
}

TEST_F(CopyFile, takesThePermissionBitsOfItsSource) {
    for (const mode_t mode : {0777U, 0640U, 0440U, 0600U, 0004U}) {
        testfiles::write("/etc/tarn/a", "x");
        ASSERT_EQ(chmod("/etc/tarn/a", mode), 0);
        EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
        EXPECT_EQ(testfiles::mode("/etc/tarn/b"), mode);
        ASSERT_EQ(unlink("/etc/tarn/a"), 0);
        ASSERT_EQ(unlink("/etc/tarn/b"), 0);
    }
}

TEST_F(CopyFile, dropsTheSpecialBits) {
    testfiles::write("/etc/tarn/a", "x");
    ASSERT_EQ(chmod("/etc/tarn/a", 07751), 0);
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/b"), 0751U);
}

TEST_F(CopyFile, replacesTheContentAndKeepsTheModeOfAnExistingTarget) {
    testfiles::write("/etc/tarn/a", "new");
    testfiles::write("/etc/tarn/b", "old and much longer");
    ASSERT_EQ(chmod("/etc/tarn/b", 0604), 0);
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/b"), "new");
    EXPECT_EQ(testfiles::mode("/etc/tarn/b"), 0604U);
    EXPECT_EQ(testfiles::read("/etc/tarn/a"), "new");
}

TEST_F(CopyFile, refusesPathsOutsideTheTrees) {
    testfiles::write("/etc/tarn/a", "x");
    testfiles::write("/etc/outside", "kept");
    EXPECT_EQ(copyFile("/etc/outside", "/etc/tarn/b"), 1);
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/outside"), 1);
    EXPECT_EQ(testlog::lines(), (LogLineList{{1, "##ERROR: copyFile illegal path src=/etc/outside dest=/etc/tarn/b"},
                                             {1, "##ERROR: copyFile illegal path src=/etc/tarn/a dest=/etc/outside"}}));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/b"));
    EXPECT_EQ(testfiles::read("/etc/outside"), "kept");
}

TEST_F(CopyFile, failsWithoutASource) {
    EXPECT_EQ(copyFile("/etc/tarn/missing", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyFile, src error: No such file or directory"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/b"));
}

TEST_F(CopyFile, doesNotFollowALinkAsSource) {
    testfiles::write("/etc/tarn/a", "x");
    testfiles::link("/etc/tarn/a", "/etc/tarn/link");
    EXPECT_EQ(copyFile("/etc/tarn/link", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyFile, src error: Too many levels of symbolic links"));
}

TEST_F(CopyFile, doesNotFollowALinkAsTarget) {
    testfiles::write("/etc/tarn/a", "x");
    testfiles::write("/etc/tarn/real", "kept");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/link"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyFile, dest error: Too many levels of symbolic links"));
    EXPECT_EQ(testfiles::read("/etc/tarn/real"), "kept");
}

TEST_F(CopyFile, failsWithoutATargetDirectory) {
    testfiles::write("/etc/tarn/a", "x");
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/missing/b"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyFile, dest error: No such file or directory"));
}

TEST_F(CopyFile, failsWithADirectoryAsTarget) {
    testfiles::write("/etc/tarn/a", "x");
    testfiles::makeDirectories("/etc/tarn/d");
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: in func copyFile, dest error: Is a directory"));
}

TEST_F(CopyFile, failsWhenTheSourceCannotBeMeasured) {
    testfiles::write("/etc/tarn/a", "x");
    const auto fstat = interpose::fstat.replace([](int, struct stat*) {
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), error("fstat src /etc/tarn/a failed: Input/output error"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/b"));
}

TEST_F(CopyFile, opensBothFilesWithoutFollowingLinks) {
    testfiles::write("/etc/tarn/a", "x");
    ASSERT_EQ(chmod("/etc/tarn/a", 04751), 0);
    struct Open {
        std::string path;
        int flags;
        bool operator==(const Open& other) const { return path == other.path && flags == other.flags; }
    };
    std::vector<Open> opens;
    mode_t targetMode = 0;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opens.push_back({path, flags});
        targetMode = mode;
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_TRUE(opens == (std::vector<Open>{{"/etc/tarn/a", O_RDONLY | O_NOFOLLOW},
                                            {"/etc/tarn/b", O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW}}));
    EXPECT_EQ(targetMode, 0751U);
}

TEST_F(CopyFile, asksForWhatRemainsEachTime) {
    testfiles::write("/etc/tarn/a", content(2500));
    std::vector<std::pair<off_t, std::size_t>> requests;
    const auto sendfile = interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t count) {
        requests.emplace_back(*offset, count);
        return interpose::sendfile.real(out, in, offset, std::min<std::size_t>(count, 1000));
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(requests, (std::vector<std::pair<off_t, std::size_t>>{{0, 2500}, {1000, 1500}, {2000, 500}}));
    EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(2500));
}

TEST_F(CopyFile, triesAgainAfterAnInterruption) {
    for (const int number : {EINTR, EAGAIN}) {
        testfiles::write("/etc/tarn/a", content(5000));
        int calls = 0;
        const auto sendfile =
            interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t count) -> ssize_t {
                if (++calls % 3 != 0) {
                    errno = number;
                    return -1;
                }
                return interpose::sendfile.real(out, in, offset, std::min<std::size_t>(count, 2000));
            });
        EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
        EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(5000));
        EXPECT_EQ(calls, 9);
    }
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CopyFile, failsWithEveryOtherErrorOfTheTransfer) {
    testfiles::write("/etc/tarn/a", content(5000));
    int calls = 0;
    const auto sendfile = interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t) -> ssize_t {
        if (++calls == 1) {
            return interpose::sendfile.real(out, in, offset, 2000);
        }
        errno = ENOSPC;
        return -1;
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), error("sendfile failed: No space left on device"));
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(5000).substr(0, 2000)) << "a partial copy stays";
}

TEST_F(CopyFile, failsWithADirectoryAsSource) {
    testfiles::makeDirectories("/etc/tarn/d");
    const auto fstat = interpose::fstat.replace([](int fd, struct stat* status) {
        const int result = interpose::fstat.real(fd, status);
        status->st_size = 4096;  // whatever the file system says of a directory
        return result;
    });
    EXPECT_EQ(copyFile("/etc/tarn/d", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines().size(), 1U);
    EXPECT_EQ(testlog::lines().at(0).text.rfind("sendfile failed: ", 0), 0U);
}

TEST_F(CopyFile, endsWhenTheSourceShrinksMeanwhile) {
    testfiles::write("/etc/tarn/a", content(5000));
    int calls = 0;
    const auto sendfile =
        interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t count) -> ssize_t {
            ++calls;
            EXPECT_EQ(truncate("/etc/tarn/a", 1000), 0);
            return interpose::sendfile.real(out, in, offset, count);
        });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0) << "what is left is the file";
    EXPECT_EQ(calls, 2) << "the second one finds the end";
    EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(1000));
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(CopyFile, stopsAtTheRecordedSizeWhenTheSourceGrowsMeanwhile) {
    testfiles::write("/etc/tarn/a", content(1000));
    const auto sendfile =
        interpose::sendfile.replace([&](int out, int in, off_t* offset, std::size_t count) -> ssize_t {
            testfiles::write("/etc/tarn/a", content(5000));
            return interpose::sendfile.real(out, in, offset, count);
        });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_TRUE(testfiles::read("/etc/tarn/b") == content(1000));
}

TEST_F(CopyFile, isNotSynced) {
    testfiles::write("/etc/tarn/a", "x");
    int syncs = 0;
    const auto fsync = interpose::fsync.replace([&](int) {
        ++syncs;
        return 0;
    });
    EXPECT_EQ(copyFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(syncs, 0);
}

TEST_F(CopyFile, takesNoNullPath) {
    EXPECT_THROW(copyFile(nullptr, "/etc/tarn/b"), std::logic_error);
    EXPECT_THROW(copyFile("/etc/tarn/a", nullptr), std::logic_error);
}
