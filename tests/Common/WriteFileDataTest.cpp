// Writing one buffer in one write.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include "TreeFixture.h"

namespace {

constexpr unsigned int kFlags = O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;

class WriteFileData : public TreeTest {};

int write(const std::string& path, const std::string& data) {
    return writeFileData(path, data.data(), data.size(), kFlags);
}

// An interposed write that fails.
auto failingWith(int number) {
    return interpose::write.replace([number](int, const void*, std::size_t) -> ssize_t {
        errno = number;
        return -1;
    });
}

struct Answer {
    int number;
    const char* text;
};

// The kernel module's answers, written out once more: the library's own table must not be its own witness.
const std::vector<Answer> kAnswers{
    {5, "failed to get policy data stream from kernel"},
    {12, "system out of memory"},
    {22, "policy format invalid, incomplete data or magic number verification failed"},
    {61, "additional function does not exist or not registered in framework"},
    {70, "tarn_main module not loaded"},
    {71, "policy delivery order error"},
    {74, "policy message type error"},
    {1, "Operation not permitted"},
    {4, "Interrupted system call"},
    {11, "Resource temporarily unavailable"},
    {13, "Permission denied"},
    {16, "Device or resource busy"},
    {27, "File too large"},
    {28, "No space left on device"},
    {72, "Multihop attempted"},
};

}  // namespace

TEST_F(WriteFileData, writesTheBytesAsTheyAre) {
    const std::string data("a\0b\xff\n\r", 6);
    EXPECT_EQ(write("/etc/tarn/file", data), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), data);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(WriteFileData, createsTheFileWithMode0440) {
    EXPECT_EQ(write("/etc/tarn/file", "x"), 0);
    EXPECT_EQ(testfiles::mode("/etc/tarn/file"), 0440U);
}

TEST_F(WriteFileData, replacesTheContentAndKeepsTheModeOfAnExistingFile) {
    testfiles::write("/etc/tarn/file", "old and longer");
    ASSERT_EQ(chmod("/etc/tarn/file", 0604), 0);
    EXPECT_EQ(write("/etc/tarn/file", "new"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "new");
    EXPECT_EQ(testfiles::mode("/etc/tarn/file"), 0604U);
}

TEST_F(WriteFileData, writesItsOwnFileAgain) {
    EXPECT_EQ(write("/etc/tarn/file", "first"), 0);
    EXPECT_EQ(write("/etc/tarn/file", "2nd"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "2nd");
}

TEST_F(WriteFileData, writesToTheKernelsTree) {
    testfiles::write("/sys/kernel/security/tarn/policy_deliver", "");
    EXPECT_EQ(write("/sys/kernel/security/tarn/policy_deliver", "message"), 0);
    EXPECT_EQ(testfiles::read("/sys/kernel/security/tarn/policy_deliver"), "message");
}

TEST_F(WriteFileData, writesAMebibyte) {
    const std::string data(0x100000, 'm');
    EXPECT_EQ(write("/etc/tarn/file", data), 0);
    EXPECT_TRUE(testfiles::read("/etc/tarn/file") == data);
}

TEST_F(WriteFileData, opensWithTheFlagsItIsGiven) {
    for (const unsigned int flags : {kFlags, static_cast<unsigned int>(O_WRONLY | O_CREAT), 0x20242U}) {
        unsigned int opened = 0;
        mode_t mode = 0;
        const auto open = interpose::open.replace([&](const char* path, int openFlags, mode_t openMode) {
            EXPECT_STREQ(path, "/etc/tarn/file");
            opened = static_cast<unsigned int>(openFlags);
            mode = openMode;
            return interpose::open.real(path, openFlags, openMode);
        });
        EXPECT_EQ(writeFileData("/etc/tarn/file", "x", 1, flags), 0);
        EXPECT_EQ(opened, flags);
        EXPECT_EQ(mode, 0440U);
    }
}

TEST_F(WriteFileData, addsNoFlagsOfItsOwn) {
    EXPECT_EQ(writeFileData("/etc/tarn/file", "x", 1, O_WRONLY), -1) << "no creation was asked for";
    testfiles::write("/etc/tarn/file", "0123");
    EXPECT_EQ(writeFileData("/etc/tarn/file", "ab", 2, O_WRONLY), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "ab23") << "no truncation was asked for";
    EXPECT_EQ(writeFileData("/etc/tarn/file", "yz", 2, O_WRONLY | O_APPEND), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "ab23yz");
}

TEST_F(WriteFileData, refusesAPathOutsideTheTreesWithoutOpeningIt) {
    std::vector<std::string> opened;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opened.emplace_back(path);
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(write("/tmp/tarn-outside", "x"), -1);
    EXPECT_EQ(opened, std::vector<std::string>{testlog::kPath});
    EXPECT_EQ(testlog::lines(), error("####ERROR: Illegal path traversal detected: /tmp/tarn-outside"));
    EXPECT_FALSE(testfiles::exists("/tmp/tarn-outside"));
}

TEST_F(WriteFileData, refusesALinkThatLeavesTheTrees) {
    testfiles::write("/etc/outside", "kept");
    testfiles::link("/etc/outside", "/etc/tarn/link");
    EXPECT_EQ(write("/etc/tarn/link", "x"), -1);
    EXPECT_EQ(testlog::lines(), error("####ERROR: Illegal path traversal detected: /etc/tarn/link"));
    EXPECT_EQ(testfiles::read("/etc/outside"), "kept");
}

TEST_F(WriteFileData, failsToOpenALinkInsideTheTrees) {
    testfiles::write("/etc/tarn/real", "kept");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(write("/etc/tarn/link", "x"), -1);
    EXPECT_EQ(testlog::lines(), error("####ERROR: Open /etc/tarn/link failed"));
    EXPECT_EQ(testfiles::read("/etc/tarn/real"), "kept");
}

TEST_F(WriteFileData, createsNothingThroughADanglingLink) {
    testfiles::link("/etc/tarn/missing", "/etc/tarn/link");
    EXPECT_EQ(write("/etc/tarn/link", "x"), -1);
    EXPECT_EQ(testlog::lines(), error("####ERROR: Open /etc/tarn/link failed"));
    EXPECT_FALSE(testfiles::exists("/etc/tarn/missing"));
}

TEST_F(WriteFileData, failsToOpenADirectoryOrAMissingParent) {
    testfiles::makeDirectories("/etc/tarn/d");
    EXPECT_EQ(write("/etc/tarn/d", "x"), -1);
    EXPECT_EQ(write("/etc/tarn/missing/file", "x"), -1);
    EXPECT_EQ(testlog::lines(), (LogLineList{{1, "####ERROR: Open /etc/tarn/d failed"},
                                             {1, "####ERROR: Open /etc/tarn/missing/file failed"}}));
}

TEST_F(WriteFileData, handsEverythingOverInOneWrite) {
    const std::string data(3000000, 'd');
    std::vector<std::size_t> counts;
    bool sameBytes = false;
    const auto hook = interpose::write.replace([&](int fd, const void* bytes, std::size_t count) {
        counts.push_back(count);
        sameBytes = bytes == data.data();
        return interpose::write.real(fd, bytes, count);
    });
    EXPECT_EQ(write("/etc/tarn/file", data), 0);
    EXPECT_EQ(counts, std::vector<std::size_t>{3000000});
    EXPECT_TRUE(sameBytes);
}

TEST_F(WriteFileData, writesAlsoNothing) {
    testfiles::write("/etc/tarn/file", "old");
    std::vector<std::size_t> counts;
    const auto hook = interpose::write.replace([&](int fd, const void* bytes, std::size_t count) {
        counts.push_back(count);
        return interpose::write.real(fd, bytes, count);
    });
    EXPECT_EQ(writeFileData("/etc/tarn/file", nullptr, 0, kFlags), 0);
    EXPECT_EQ(counts, std::vector<std::size_t>{0});
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "");
}

TEST_F(WriteFileData, takesAShortWriteForSuccess) {
    for (const ssize_t written : {0L, 1L, 9L}) {
        int calls = 0;
        const auto hook = interpose::write.replace([&](int, const void*, std::size_t) {
            ++calls;
            return written;
        });
        EXPECT_EQ(write("/etc/tarn/file", "0123456789"), 0);
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(WriteFileData, testsTheResultAsA32BitNumber) {
    for (const ssize_t written : {0x80000000L, 0xFFFFFFFFL, 0x180000000L}) {
        const auto hook = interpose::write.replace([&](int, const void*, std::size_t) {
            errno = EIO;
            return written;
        });
        EXPECT_EQ(write("/etc/tarn/file", "x"), EIO) << written;
    }
    for (const ssize_t written : {0x7FFFFFFFL, 0x100000000L, 0x17FFFFFFFL}) {
        const auto hook = interpose::write.replace([&](int, const void*, std::size_t) {
            errno = EIO;
            return written;
        });
        EXPECT_EQ(write("/etc/tarn/file", "x"), 0) << written;
    }
}

TEST_F(WriteFileData, answersWithTheErrorOfTheWriteAndItsText) {
    for (const Answer& answer : kAnswers) {
        testlog::clear();
        const auto hook = failingWith(answer.number);
        EXPECT_EQ(write("/etc/tarn/file", "x"), answer.number);
        EXPECT_EQ(testlog::lines(), error(std::string("####ERROR: Write /etc/tarn/file errno: ") + answer.text));
    }
}

TEST_F(WriteFileData, keepsTheErrorThoughTheSyncFailsOtherwise) {
    for (const Answer& answer : kAnswers) {
        testlog::clear();
        const auto hook = failingWith(answer.number);
        const auto fsync = interpose::fsync.replace([](int) {
            errno = EINVAL;
            return -1;
        });
        const auto close = interpose::close.replace([](int fd) {
            const int result = interpose::close.real(fd);
            errno = EBADF;
            return result;
        });
        EXPECT_EQ(write("/etc/tarn/file", "x"), answer.number);
        EXPECT_EQ(testlog::lines(), error(std::string("####ERROR: Write /etc/tarn/file errno: ") + answer.text));
    }
}

TEST_F(WriteFileData, leavesTheTruncatedFileAfterAFailedWrite) {
    testfiles::write("/etc/tarn/file", "old");
    const auto hook = failingWith(EPROTO);
    EXPECT_EQ(write("/etc/tarn/file", "new"), 71);
    EXPECT_TRUE(testfiles::exists("/etc/tarn/file"));
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "");
}

namespace {

// The calls on the written file's descriptor in their order.
std::string order(bool writeFails) {
    std::string calls;
    int descriptor = -1;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        const int fd = interpose::open.real(path, flags, mode);
        if (std::strcmp(path, "/etc/tarn/file") == 0) {
            calls += "open ";
            descriptor = fd;
        }
        return fd;
    });
    const auto hook = interpose::write.replace([&](int fd, const void* data, std::size_t count) -> ssize_t {
        calls += fd == descriptor ? "write " : "stray write ";
        if (writeFails) {
            errno = EPROTO;
            return -1;
        }
        return interpose::write.real(fd, data, count);
    });
    const auto fsync = interpose::fsync.replace([&](int fd) {
        calls += fd == descriptor ? "fsync " : "stray fsync ";
        return interpose::fsync.real(fd);
    });
    const auto close = interpose::close.replace([&](int fd) {
        calls += fd == descriptor ? "close " : "";
        return interpose::close.real(fd);
    });
    EXPECT_EQ(write("/etc/tarn/file", "x"), writeFails ? EPROTO : 0);
    return calls;
}

}  // namespace

TEST_F(WriteFileData, syncsAndClosesAfterAWrite) {
    EXPECT_EQ(order(false), "open write fsync close ");
}

TEST_F(WriteFileData, syncsAndClosesAfterAFailedWrite) {
    EXPECT_EQ(order(true), "open write fsync close ");
}

TEST_F(WriteFileData, doesNotMindASyncThatFails) {
    const auto fsync = interpose::fsync.replace([](int) {
        errno = EINVAL;
        return -1;
    });
    EXPECT_EQ(write("/etc/tarn/file", "x"), 0);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(WriteFileData, doesNotMindACloseThatFails) {
    const auto close = interpose::close.replace([](int fd) {
        interpose::close.real(fd);
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(write("/etc/tarn/file", "x"), 0);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}
