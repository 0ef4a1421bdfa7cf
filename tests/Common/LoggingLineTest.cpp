// What a log call writes: prefix, escapes, bound, one line per call.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

namespace {

constexpr std::size_t kKeptBytes = 131071;
constexpr std::time_t kMoment = 1714557600;  // 2024-05-01 10:00:00 UTC

std::string pid() {
    return std::to_string(getpid());
}

std::string logFile() {
    return testfiles::read(testlog::kPath);
}

auto stopTheClock() {
    setenv("TZ", "UTC", 1);
    tzset();
    return interpose::time.replace([](std::time_t* result) {
        if (result != nullptr) {
            *result = kMoment;
        }
        return kMoment;
    });
}

void switchDebug() {
    const StdoutCapture quiet;
    enableDebugLog();
    raise(SIGUSR1);
}

}  // namespace

TEST(LogPrefix, holdsTimeProcessAndLevel) {
    const auto clock = stopTheClock();
    writeLog("a/b.cpp", 12, 3, "hello %d", 7);
    EXPECT_EQ(logFile(), "[2024-05-01 10:00:00][" + pid() + "] [LEVEL:3] hello 7\n");
}

TEST(LogPrefix, holdsFileAndLineWithTheDebugFlagSet) {
    switchDebug();
    const auto clock = stopTheClock();
    writeLog("a/b.cpp", 12, 1, "hello");
    EXPECT_EQ(logFile(), "[2024-05-01 10:00:00][" + pid() + "](a/b.cpp:12) [LEVEL:1] hello\n");
}

TEST(LogPrefix, isShortAgainAfterTheSecondSignal) {
    switchDebug();
    switchDebug();
    const auto clock = stopTheClock();
    writeLog("a/b.cpp", 12, 2, "hello");
    EXPECT_EQ(logFile(), "[2024-05-01 10:00:00][" + pid() + "] [LEVEL:2] hello\n");
}

TEST(LogPrefix, namesTheLibrarysOwnSourceFiles) {
    switchDebug();
    EXPECT_EQ(createDirectory("/tmp/elsewhere"), 1);
    EXPECT_TRUE(std::regex_search(
        logFile(), std::regex(R"(\]\(src/Common/[A-Za-z]+\.cpp:[1-9][0-9]*\) \[LEVEL:1\] ##ERROR: createDirectory )")))
        << logFile();
}

TEST(LogPrefix, cutsTheTimeAfter24Bytes) {
    const auto year = interpose::localtime_r.replace([](const std::time_t*, struct tm* result) {
        *result = {};
        result->tm_year = 2147483647 - 1900;
        result->tm_mday = 1;
        return result;
    });
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(logFile(), "[2147483647-01-01 00:00:0][" + pid() + "] [LEVEL:1] x\n");
}

TEST(LogPrefix, writesALargeLevelAsASignedNumber) {
    setLogLevel(0xFFFFFFFF);
    const auto clock = stopTheClock();
    writeLog("f", 1, 0xFFFFFFFF, "x");
    EXPECT_EQ(logFile(), "[2024-05-01 10:00:00][" + pid() + "] [LEVEL:-1] x\n");
}

TEST(LogText, isFormattedLikePrintf) {
    writeLog("f", 1, 1, "%s|%5d|%-4u|%#x|%c|%%|%lu|%.2f", "text", -12, 3U, 255U, 'z', 18446744073709551615UL, 1.5);
    EXPECT_EQ(testlog::lines(),
              (std::vector<testlog::Line>{{1, "text|  -12|3   |0xff|z|%|18446744073709551615|1.50"}}));
}

TEST(LogText, mayBeEmpty) {
    writeLog("f", 1, 1, "%s", "");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, ""}}));
}

TEST(LogText, isEmptyForANullFormat) {
    const char* volatile format = nullptr;
    writeLog("f", 1, 1, format);
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, ""}}));
}

TEST(LogText, takesOnlyTheArgumentsThatTheFormatAsksFor) {
    const char* volatile format = "in func %s";
    writeLog("f", 1, 1, format, "first", "second", 3);
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "in func first"}}));
}

TEST(LogText, doesNotFormatItsArgumentsAgain) {
    writeLog("f", 1, 1, "%s", "%d %s %x");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "%d %s %x"}}));
}

TEST(LogEscapes, coverTabLineFeedReturnQuoteAndBackslash) {
    const std::vector<std::pair<const char*, const char*>> table{
        {"a\tb", "a\\tb"},
        {"a\nb", "a\\nb"},
        {"a\rb", "a\\rb"},
        {"a\"b", "a\\\"b"},
        {"a\\b", "a\\\\b"},
        {"\\n", "\\\\n"},
        {"\n\n", "\\n\\n"},
        {"\r\n", "\\r\\n"},
        {"\t\"\\", "\\t\\\"\\\\"},
        {"end\n", "end\\n"},
        {"\"quoted\"", "\\\"quoted\\\""},
    };
    std::vector<testlog::Line> expected;
    for (const auto& [text, written] : table) {
        writeLog("f", 1, 1, "%s", text);
        expected.push_back({1, written});
    }
    EXPECT_EQ(testlog::lines(), expected);
}

TEST(LogEscapes, applyToTheFormatsOwnBytes) {
    writeLog("f", 1, 1, "a\tb\n%d\"\\", 5);
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "a\\tb\\n5\\\"\\\\"}}));
}

TEST(LogEscapes, copyEveryOtherByteAsItIs) {
    std::string text;
    for (int byte = 1; byte < 256; ++byte) {
        if (std::string("\t\n\r\"\\").find(static_cast<char>(byte)) == std::string::npos) {
            text += static_cast<char>(byte);
        }
    }
    writeLog("f", 1, 1, "%s", text.c_str());
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, text}}));
}

TEST(LogEscapes, keepUtf8AndBytesThatAreNone) {
    writeLog("f", 1, 1, "%s 不是绝对路径 \xff\xc3(", "标签");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "标签 不是绝对路径 \xff\xc3("}}));
}

TEST(LogEscapes, giveOneLinePerCallWhateverTheTextHolds) {
    for (const char* text :
         {"a\n[2024-05-01 10:00:00][1] [LEVEL:1] forged", "\n\n\n", "\r", "", "\v\f\x1b[2J\x7f\x85"}) {
        testlog::clear();
        writeLog("f", 1, 1, "%s", text);
        const std::string content = logFile();
        EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 1) << content;
        EXPECT_EQ(content.back(), '\n');
    }
}

TEST(LogBound, keepsTheLongestTextThatFits) {
    const std::string text(kKeptBytes, 'a');
    writeLog("f", 1, 1, "%s", text.c_str());
    EXPECT_TRUE(testlog::lines() == (std::vector<testlog::Line>{{1, text}}));
}

TEST(LogBound, cutsTheFirstByteBeyond) {
    writeLog("f", 1, 1, "%s", (std::string(kKeptBytes, 'a') + "b").c_str());
    EXPECT_TRUE(testlog::lines() == (std::vector<testlog::Line>{{1, std::string(kKeptBytes, 'a')}}));
}

TEST(LogBound, cutsATextOfSeveralTimesTheLength) {
    writeLog("f", 1, 1, "<%s>", std::string(1000000, 'a').c_str());
    EXPECT_TRUE(testlog::lines() == (std::vector<testlog::Line>{{1, "<" + std::string(kKeptBytes - 1, 'a')}}));
}

TEST(LogBound, isMeasuredBeforeEscaping) {
    writeLog("f", 1, 1, "%s", std::string(kKeptBytes + 1, '\t').c_str());
    std::string expected;
    for (std::size_t i = 0; i < kKeptBytes; ++i) {
        expected += "\\t";
    }
    EXPECT_TRUE(testlog::lines() == (std::vector<testlog::Line>{{1, expected}}));
}

namespace {

// Write calls of this process so far, or -1 where the kernel does not count them.
long writeCalls() {
    std::ifstream stream("/proc/self/io");
    for (std::string word; stream >> word;) {
        if (word == "syscw:") {
            long count = -1;
            stream >> count;
            return count;
        }
    }
    return -1;
}

}  // namespace

TEST(LogLine, isHandedOverInOneWrite) {
    if (writeCalls() < 0) {
        GTEST_SKIP() << "/proc/self/io does not count write calls here";
    }
    for (const std::size_t length : {0UL, 10UL, 4000UL, 5000UL, kKeptBytes}) {
        const std::string text(length, '\n');
        const long before = writeCalls();
        writeLog("f", 1, 1, "%s", text.c_str());
        EXPECT_EQ(writeCalls() - before, 1) << "for a text of " << length << " bytes";
    }
}

TEST(LogLine, isNeverMixedWithThoseOfOtherThreads) {
    constexpr int kThreads = 8;
    constexpr int kLines = 50;
    const auto text = [](int thread, int line) {
        return std::to_string(thread) + "." + std::to_string(line) + " " +
               std::string(static_cast<std::size_t>(3000 + 997 * line), static_cast<char>('a' + thread));
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int line = 0; line < kLines; ++line) {
                writeLog("f", 1, 1, "%s", text(thread, line).c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::multiset<std::string> expected;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int line = 0; line < kLines; ++line) {
            expected.insert(text(thread, line));
        }
    }
    std::multiset<std::string> written;
    for (const testlog::Line& line : testlog::lines()) {
        written.insert(line.level == 1 ? line.text : "mixed line");
    }
    EXPECT_TRUE(written == expected);
}
