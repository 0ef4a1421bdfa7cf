// Reading a text file into its lines, and cutting a text at a delimiter.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TreeFixture.h"

namespace {

using Strings = std::vector<std::string>;

class ReadFileToVec : public TreeTest {};

const Strings kBefore{"what", "was", "there"};

struct ReadBack {
    int result;
    Strings lines;
    LogLineList log;

    bool operator==(const ReadBack& other) const {
        return result == other.result && lines == other.lines && log == other.log;
    }
};

std::ostream& operator<<(std::ostream& stream, const ReadBack& read) {
    return stream << read.result << " " << testing::PrintToString(read.lines) << " "
                  << testing::PrintToString(read.log);
}

ReadBack read(const std::string& path) {
    testlog::clear();
    ReadBack back{0, kBefore, {}};
    back.result = readFileToVec(path, back.lines);
    back.log = testlog::lines();
    return back;
}

ReadBack readWith(const std::string& path, bool escapeCheckOnly) {
    testlog::clear();
    ReadBack back{0, kBefore, {}};
    back.result = readFileToVecImpl(path, back.lines, escapeCheckOnly);
    back.log = testlog::lines();
    return back;
}

ReadBack readContent(const std::string& content) {
    testfiles::write("/etc/tarn/file", content);
    return read("/etc/tarn/file");
}

ReadBack linesOnly(const Strings& lines) {
    return {0, lines, {}};
}

const ReadBack kUntouched{1, kBefore, {}};

ReadBack refused(const std::string& text) {
    return {-1, kBefore, error("readFileToVecImpl: " + text)};
}

}  // namespace

TEST_F(ReadFileToVec, givesTheNonEmptyLines) {
    EXPECT_EQ(readContent("a\n\nb\n"), linesOnly({"a", "b"}));
    EXPECT_EQ(readContent("a"), linesOnly({"a"}));
    EXPECT_EQ(readContent("\n\n\na\nb"), linesOnly({"a", "b"}));
}

TEST_F(ReadFileToVec, givesNoLinesForAFileOfLineFeeds) {
    EXPECT_EQ(readContent("\n\n"), linesOnly({}));
    EXPECT_EQ(readContent("\n"), linesOnly({}));
}

TEST_F(ReadFileToVec, trimsNothingAndKnowsNoComments) {
    EXPECT_EQ(readContent(" a \n\tb\t\nc\r\n# d\n \n\r\n"), linesOnly({" a ", "\tb\t", "c\r", "# d", " ", "\r"}));
}

TEST_F(ReadFileToVec, keepsUtf8AndOtherBytes) {
    EXPECT_EQ(readContent("标签\n\xff\xfe\x01\n"), linesOnly({"标签", "\xff\xfe\x01"}));
}

TEST_F(ReadFileToVec, ignoresEverythingFromTheFirstNul) {
    EXPECT_EQ(readContent(std::string("x\0y", 3)), linesOnly({"x"}));
    EXPECT_EQ(readContent(std::string("a\nb\0c\nd\n", 8)), linesOnly({"a", "b"}));
}

TEST_F(ReadFileToVec, givesNoLinesForAFileThatBeginsWithNul) {
    EXPECT_EQ(readContent(std::string("\0a\nb\n", 5)), linesOnly({}));
    EXPECT_EQ(readContent(std::string(1, '\0')), linesOnly({}));
}

TEST_F(ReadFileToVec, readsLargeFiles) {
    Strings expected;
    std::string content;
    for (int i = 0; i < 100000; ++i) {
        expected.push_back("line " + std::to_string(i));
        content += expected.back() + "\n";
    }
    testfiles::write("/etc/tarn/file", content);
    Strings lines;
    EXPECT_EQ(readFileToVec("/etc/tarn/file", lines), 0);
    EXPECT_TRUE(lines == expected);
}

TEST_F(ReadFileToVec, readsALineLongerThanAnyBuffer) {
    const std::string line(3000000, 'l');
    testfiles::write("/etc/tarn/file", line + "\nend\n");
    Strings lines;
    EXPECT_EQ(readFileToVec("/etc/tarn/file", lines), 0);
    EXPECT_TRUE(lines == (Strings{line, "end"}));
}

TEST_F(ReadFileToVec, leavesTheListForAnEmptyFile) {
    EXPECT_EQ(readContent(""), kUntouched);
}

TEST_F(ReadFileToVec, leavesTheListForAMissingFileWithoutAWord) {
    setLogLevel(4);
    EXPECT_EQ(read("/etc/tarn/missing"), kUntouched);
    EXPECT_EQ(read("/etc/tarn/missing/file"), kUntouched);
}

TEST_F(ReadFileToVec, refusesAPathOutsideTheTrees) {
    testfiles::write("/etc/outside", "a\n");
    for (const std::string path : {"/etc/outside", "relative", "", "/etc/tarn", "/etc/tarn/./x"}) {
        EXPECT_EQ(read(path), refused("unsafe path " + path));
    }
}

TEST_F(ReadFileToVec, refusesALink) {
    testfiles::write("/etc/tarn/file", "a\n");
    testfiles::link("/etc/tarn/file", "/etc/tarn/link");
    testfiles::link("/etc/tarn/missing", "/etc/tarn/dangling");
    EXPECT_EQ(read("/etc/tarn/link"), refused("/etc/tarn/link is not a regular file"));
    EXPECT_EQ(read("/etc/tarn/dangling"), refused("/etc/tarn/dangling is not a regular file"));
}

TEST_F(ReadFileToVec, refusesADirectory) {
    testfiles::makeDirectories("/etc/tarn/d");
    EXPECT_EQ(read("/etc/tarn/d"), refused("/etc/tarn/d is not a regular file"));
}

TEST_F(ReadFileToVec, refusesAFifoWithoutWaitingForIt) {
    ASSERT_EQ(mkfifo("/etc/tarn/fifo", 0600), 0);
    EXPECT_EQ(read("/etc/tarn/fifo"), refused("/etc/tarn/fifo is not a regular file"));
}

TEST_F(ReadFileToVec, failsWhenTheKindCannotBeAsked) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto lstat = interpose::lstat.replace([](const char* path, struct stat*) {
        EXPECT_STREQ(path, "/etc/tarn/file");
        errno = EACCES;
        return -1;
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("lstat on /etc/tarn/file failed: Permission denied"));
}

TEST_F(ReadFileToVec, failsBelowAFile) {
    testfiles::write("/etc/tarn/file", "a\n");
    EXPECT_EQ(read("/etc/tarn/file/below"), refused("lstat on /etc/tarn/file/below failed: Not a directory"));
}

TEST_F(ReadFileToVec, takesAFileThatVanishesMeanwhileForMissing) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto lstat = interpose::lstat.replace([](const char* path, struct stat* status) {
        const int result = interpose::lstat.real(path, status);
        unlink(path);
        return result;
    });
    EXPECT_EQ(read("/etc/tarn/file"), kUntouched);
}

TEST_F(ReadFileToVec, failsOnALinkThatTakesTheFilesPlaceMeanwhile) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto lstat = interpose::lstat.replace([](const char* path, struct stat* status) {
        const int result = interpose::lstat.real(path, status);
        unlink(path);
        testfiles::link("/etc/passwd", path);
        return result;
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("open /etc/tarn/file failed: Too many levels of symbolic links"));
}

TEST_F(ReadFileToVec, opensForReadingWithoutFollowingLinks) {
    testfiles::write("/etc/tarn/file", "a\n");
    std::vector<std::pair<std::string, int>> opens;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opens.emplace_back(path, flags);
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(read("/etc/tarn/file"), linesOnly({"a"}));
    EXPECT_EQ(opens, (std::vector<std::pair<std::string, int>>{{"/etc/tarn/file", O_RDONLY | O_NOFOLLOW}}));
}

TEST_F(ReadFileToVec, failsWhenTheFileCannotBeOpened) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto open = interpose::open.replace([](const char* path, int flags, mode_t mode) {
        if (std::strcmp(path, "/etc/tarn/file") == 0) {
            errno = EMFILE;
            return -1;
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("open /etc/tarn/file failed: Too many open files"));
}

TEST_F(ReadFileToVec, failsWithoutAStream) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto fdopen = interpose::fdopen.replace([](int fd, const char* mode) -> FILE* {
        if (std::strcmp(mode, "r") == 0) {
            errno = ENOMEM;
            return nullptr;
        }
        return interpose::fdopen.real(fd, mode);
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("fdopen failed: Cannot allocate memory"));
}

TEST_F(ReadFileToVec, readsTheWholeFileInOneGetdelim) {
    testfiles::write("/etc/tarn/file", "a\nb\nc\n");
    std::vector<int> delimiters;
    const auto getdelim = interpose::getdelim.replace([&](char** line, std::size_t* size, int delimiter, FILE* stream) {
        EXPECT_EQ(*line, nullptr);
        delimiters.push_back(delimiter);
        return interpose::getdelim.real(line, size, delimiter, stream);
    });
    EXPECT_EQ(read("/etc/tarn/file"), linesOnly({"a", "b", "c"}));
    EXPECT_EQ(delimiters, std::vector<int>{'\0'});
}

namespace {

// Puts a directory in the place of the stream's file: from now on every read fails with EISDIR and sets the stream's
// error flag.
void failReads(FILE* stream) {
    const int directory = ::open("/etc/tarn", O_RDONLY | O_DIRECTORY);
    dup2(directory, fileno(stream));
    ::close(directory);
}

}  // namespace

TEST_F(ReadFileToVec, failsWhenReadingFails) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto getdelim = interpose::getdelim.replace([](char** line, std::size_t* size, int delimiter, FILE* stream) {
        failReads(stream);
        const ssize_t length = interpose::getdelim.real(line, size, delimiter, stream);
        EXPECT_EQ(length, -1);
        EXPECT_NE(std::ferror(stream), 0);
        return length;
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("read /etc/tarn/file error: Is a directory"));
}

TEST_F(ReadFileToVec, namesTheErrorOfTheReadThatFailedFirst) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto getdelim = interpose::getdelim.replace([](char** line, std::size_t* size, int delimiter, FILE* stream) {
        failReads(stream);
        const ssize_t length = interpose::getdelim.real(line, size, delimiter, stream);
        errno = EIO;  // another one than a further read would give
        return length;
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("read /etc/tarn/file error: Input/output error"));
}

TEST_F(ReadFileToVec, failsWhenAskingForTheEndFails) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto getdelim = interpose::getdelim.replace([](char**, std::size_t*, int, FILE* stream) -> ssize_t {
        failReads(stream);
        errno = ENOMEM;
        return -1;
    });
    EXPECT_EQ(read("/etc/tarn/file"), refused("read /etc/tarn/file error: Is a directory"));
}

TEST_F(ReadFileToVec, succeedsWithAnUntouchedListWhenNothingWasReadButMoreIsThere) {
    testfiles::write("/etc/tarn/file", "a\n");
    const auto getdelim = interpose::getdelim.replace([](char**, std::size_t*, int, FILE*) -> ssize_t {
        errno = ENOMEM;
        return -1;
    });
    EXPECT_EQ(read("/etc/tarn/file"), (ReadBack{0, kBefore, {}}));
}

TEST_F(ReadFileToVec, succeedsOnlyOnceForAnEmptyFileWithoutAnError) {
    testfiles::write("/etc/tarn/file", "");
    int calls = 0;
    const auto getdelim = interpose::getdelim.replace([&](char** line, std::size_t* size, int delimiter, FILE* stream) {
        ++calls;
        return interpose::getdelim.real(line, size, delimiter, stream);
    });
    EXPECT_EQ(read("/etc/tarn/file"), kUntouched);
    EXPECT_EQ(calls, 1);
}

TEST_F(ReadFileToVec, checksForEscapesOnlyWhereAskedTo) {
    testfiles::write("/etc/outside", "a\nb\n");
    EXPECT_EQ(readWith("/etc/outside", true), linesOnly({"a", "b"}));
    EXPECT_EQ(readWith("/etc/outside", false), refused("unsafe path /etc/outside"));
    EXPECT_EQ(readWith("/etc/missing", true), kUntouched);
}

TEST_F(ReadFileToVec, refusesAnEscapeAlsoBelowAMount) {
    for (const std::string path : {"/etc/../etc/outside", "/etc/./outside", "/etc/a./b"}) {
        EXPECT_EQ(readWith(path, true), refused("path escape: " + path));
    }
}

TEST_F(ReadFileToVec, followsNoLinkBelowAMount) {
    testfiles::link("/etc/passwd", "/etc/outside");
    EXPECT_EQ(readWith("/etc/outside", true), refused("/etc/outside is not a regular file"));
}

TEST_F(ReadFileToVec, readsBelowAMountRelativelyToo) {
    testfiles::write("/etc/tarn/file", "a\n");
    ASSERT_EQ(chdir("/etc/tarn"), 0);
    EXPECT_EQ(readWith("file", true), linesOnly({"a"}));
}

TEST(Split, givesTheNonEmptyPiecesInOrder) {
    EXPECT_EQ(Split("a,b,c", ','), (Strings{"a", "b", "c"}));
    EXPECT_EQ(Split("one:two", ':'), (Strings{"one", "two"}));
}

TEST(Split, givesTheWholeTextWithoutADelimiter) {
    EXPECT_EQ(Split("abc", ','), Strings{"abc"});
}

TEST(Split, givesNothingForNothing) {
    EXPECT_EQ(Split("", ','), Strings{});
    EXPECT_EQ(Split(",", ','), Strings{});
    EXPECT_EQ(Split(",,,,", ','), Strings{});
}

TEST(Split, dropsEmptyPiecesAnywhere) {
    EXPECT_EQ(Split(",a", ','), Strings{"a"});
    EXPECT_EQ(Split("a,", ','), Strings{"a"});
    EXPECT_EQ(Split("a,,b", ','), (Strings{"a", "b"}));
    EXPECT_EQ(Split(",,a,,,b,,", ','), (Strings{"a", "b"}));
}

TEST(Split, keepsBlanksAndReturns) {
    EXPECT_EQ(Split(" a , b\r, ", ','), (Strings{" a ", " b\r", " "}));
}

TEST(Split, takesAnyByteAsDelimiter) {
    EXPECT_EQ(Split("a\nb\n", '\n'), (Strings{"a", "b"}));
    EXPECT_EQ(Split(std::string("a\0b\0", 4), '\0'), (Strings{"a", "b"}));
    EXPECT_EQ(Split("a\xff"
                    "b",
                    '\xff'),
              (Strings{"a", "b"}));
}

TEST(Split, keepsANulThatIsNotTheDelimiter) {
    EXPECT_EQ(Split(std::string("a\0b,c", 5), ','), (Strings{std::string("a\0b", 3), "c"}));
}
