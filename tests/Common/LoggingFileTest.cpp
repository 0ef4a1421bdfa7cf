// The log file: how it is opened, its mode, and standard output in its place.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

namespace {

using Lines = std::vector<testlog::Line>;

std::string outputOf(const char* text) {
    StdoutCapture output;
    writeLog("f", 1, 1, "%s", text);
    return output.finish();
}

}  // namespace

TEST(LogFile, isCreatedOnFirstUseWithMode0640) {
    umask(0);
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testfiles::mode(testlog::kPath), 0640U);
}

TEST(LogFile, hasMode0640WhateverTheUmask) {
    umask(0777);
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testfiles::mode(testlog::kPath), 0640U);
}

TEST(LogFile, getsMode0640AlsoWhereItExists) {
    for (const mode_t mode : {0666U, 0600U, 0755U, 0U}) {
        testlog::clear();
        testfiles::write(testlog::kPath, "");
        ASSERT_EQ(chmod(testlog::kPath, mode), 0);
        writeLog("f", 1, 1, "x");
        EXPECT_EQ(testfiles::mode(testlog::kPath), 0640U);
        EXPECT_EQ(testlog::lines(), (Lines{{1, "x"}}));
    }
}

TEST(LogFile, isOpenedForAppendingWithoutFollowingLinks) {
    std::vector<std::string> paths;
    int openFlags = 0;
    mode_t openMode = 0;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        paths.emplace_back(path);
        openFlags = flags;
        openMode = mode;
        return interpose::open.real(path, flags, mode);
    });
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(paths, std::vector<std::string>{"/var/log/tarn-policy.log"});
    EXPECT_EQ(openFlags, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW);
    EXPECT_EQ(openMode, 0640U);
}

TEST(LogFile, isWrappedInAStreamThatAppends) {
    std::string streamMode;
    const auto fdopen = interpose::fdopen.replace([&](int fd, const char* mode) {
        streamMode = mode;
        return interpose::fdopen.real(fd, mode);
    });
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(streamMode, "a");
}

TEST(LogFile, keepsWhatItHeld) {
    testfiles::write(testlog::kPath, "an older line\n");
    writeLog("f", 1, 2, "x");
    EXPECT_EQ(testlog::lines(), (Lines{{-1, "an older line"}, {2, "x"}}));
}

TEST(LogFile, collectsLinesInTheOrderOfTheCalls) {
    for (int i = 0; i < 20; ++i) {
        writeLog("f", 1, 1, "%d", i);
    }
    Lines expected;
    for (int i = 0; i < 20; ++i) {
        expected.push_back({1, std::to_string(i)});
    }
    EXPECT_EQ(testlog::lines(), expected);
}

TEST(LogFile, isOpenedAgainOnEveryCall) {
    writeLog("f", 1, 1, "first");
    ASSERT_EQ(rename(testlog::kPath, "/var/log/moved"), 0);
    writeLog("f", 1, 1, "second");
    EXPECT_EQ(testlog::lines(), (Lines{{1, "second"}}));
}

TEST(LogFile, isClosedAfterEveryCall) {
    const int before = testfiles::openDescriptors();
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST(LogFile, printsNothingOnStandardOutput) {
    EXPECT_EQ(outputOf("x"), "");
}

TEST(LogFile, isWrittenThoughItsModeCannotBeSet) {
    int calls = 0;
    const auto fchmod = interpose::fchmod.replace([&](int, mode_t mode) {
        EXPECT_EQ(mode, 0640U);
        ++calls;
        errno = EPERM;
        return -1;
    });
    StdoutCapture error(2);
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(error.finish(), "fchmod: Operation not permitted\n");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(testlog::lines(), (Lines{{1, "x"}}));
}

TEST(LogFile, saysNothingOnStandardErrorWhenAllIsWell) {
    StdoutCapture error(2);
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(error.finish(), "");
}

TEST(LogFallback, takesTheTextWhereALinkStandsAtThePath) {
    testfiles::write("/etc/tarn/target", "untouched");
    testfiles::link("/etc/tarn/target", testlog::kPath);
    EXPECT_EQ(outputOf("x"), "x\n");
    EXPECT_EQ(testfiles::read("/etc/tarn/target"), "untouched");
}

TEST(LogFallback, createsNothingThroughADanglingLink) {
    testfiles::link("/etc/tarn/target", testlog::kPath);
    EXPECT_EQ(outputOf("x"), "x\n");
    EXPECT_FALSE(testfiles::exists("/etc/tarn/target"));
}

TEST(LogFallback, takesTheTextWhereTheFileCannotBeOpened) {
    testfiles::makeDirectories(testlog::kPath);
    EXPECT_EQ(outputOf("x"), "x\n");
}

TEST(LogFallback, hasEscapesAndNoPrefix) {
    testfiles::makeDirectories(testlog::kPath);
    EXPECT_EQ(outputOf("a\tb\nc\rd\"e\\f"), "a\\tb\\nc\\rd\\\"e\\\\f\n");
}

TEST(LogFallback, isCutLikeALine) {
    testfiles::makeDirectories(testlog::kPath);
    EXPECT_TRUE(outputOf(std::string(200000, 'a').c_str()) == std::string(131071, 'a') + "\n");
}

TEST(LogFallback, obeysTheFilter) {
    testfiles::makeDirectories(testlog::kPath);
    StdoutCapture output;
    writeLog("f", 1, 4, "filtered");
    EXPECT_EQ(output.finish(), "");
}

TEST(LogFallback, takesTheTextWhereTheStreamCannotBeMade) {
    const int before = testfiles::openDescriptors();
    {
        const auto fdopen = interpose::fdopen.replace([](int, const char*) -> FILE* {
            errno = ENOMEM;
            return nullptr;
        });
        EXPECT_EQ(outputOf("x\ny"), "x\\ny\n");
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
    EXPECT_EQ(testfiles::read(testlog::kPath), "");
}

TEST(LogFallback, sendsNothingToStandardError) {
    testfiles::makeDirectories(testlog::kPath);
    StdoutCapture error(2);
    EXPECT_EQ(outputOf("x"), "x\n");
    EXPECT_EQ(error.finish(), "");
}

TEST(LogFallback, endsWhenTheFileIsThereAgain) {
    testfiles::makeDirectories(testlog::kPath);
    EXPECT_EQ(outputOf("first"), "first\n");
    ASSERT_EQ(rmdir(testlog::kPath), 0);
    EXPECT_EQ(outputOf("second"), "");
    EXPECT_EQ(testlog::lines(), (Lines{{1, "second"}}));
}
