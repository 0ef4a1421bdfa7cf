// Which log calls write anything at all.
#include <gtest/gtest.h>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

namespace {

using Lines = std::vector<testlog::Line>;

void logOneLineOfEachLevel() {
    for (unsigned int level = 0; level <= 5; ++level) {
        writeLog("f", 1, level, "level %u", level);
    }
}

const std::vector<const char*> kDroppedFormats{"%n",  "%N",  "before %n after", "%s and %n",
                                               "%%n", "%%N", "100%now",         "%d%n%d"};

}  // namespace

TEST(LogFilter, writesLevelsUpToThreeAtLoad) {
    logOneLineOfEachLevel();
    EXPECT_EQ(testlog::lines(), (Lines{{0, "level 0"}, {1, "level 1"}, {2, "level 2"}, {3, "level 3"}}));
}

TEST(LogFilter, writesALevelEqualToTheCurrentOne) {
    setLogLevel(2);
    writeLog("f", 1, 2, "equal");
    EXPECT_EQ(testlog::lines(), (Lines{{2, "equal"}}));
}

TEST(LogFilter, dropsALevelOneAboveTheCurrentOne) {
    setLogLevel(2);
    writeLog("f", 1, 3, "above");
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(LogFilter, writesRoutineDetailAtLevelFour) {
    setLogLevel(4);
    logOneLineOfEachLevel();
    EXPECT_EQ(testlog::lines(),
              (Lines{{0, "level 0"}, {1, "level 1"}, {2, "level 2"}, {3, "level 3"}, {4, "level 4"}}));
}

TEST(LogFilter, goesDownToLevelZero) {
    setLogLevel(0);
    logOneLineOfEachLevel();
    EXPECT_EQ(testlog::lines(), (Lines{{0, "level 0"}}));
}

TEST(LogFilter, storesALevelAboveFourAsGiven) {
    setLogLevel(7);
    writeLog("f", 1, 7, "seven");
    writeLog("f", 1, 8, "eight");
    EXPECT_EQ(testlog::lines(), (Lines{{7, "seven"}}));
}

TEST(LogFilter, comparesLevelsAsUnsignedNumbers) {
    writeLog("f", 1, 0xFFFFFFFF, "the least severe of all");
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(LogFilter, isTakenBackByTheNextSetLogLevel) {
    setLogLevel(0);
    setLogLevel(3);
    writeLog("f", 1, 3, "written");
    EXPECT_EQ(testlog::lines(), (Lines{{3, "written"}}));
}

TEST(LogFilter, opensNoFileForADroppedLevel) {
    int opened = 0;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        ++opened;
        return interpose::open.real(path, flags, mode);
    });
    StdoutCapture output;
    writeLog("f", 1, 4, "filtered");
    EXPECT_EQ(output.finish(), "");
    EXPECT_EQ(opened, 0);
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(LogFilter, doesNotFormatADroppedLevel) {
    const char* volatile notAText = reinterpret_cast<const char*>(1);
    writeLog("f", 1, 4, "%s", notAText);
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(LogFilter, dropsFormatsThatHoldPercentN) {
    StdoutCapture output;
    for (const char* volatile format : kDroppedFormats) {
        writeLog("f", 1, 1, format, "text", 1);
    }
    EXPECT_EQ(output.finish(), "");
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(LogFilter, opensNoFileForAFormatWithPercentN) {
    int opened = 0;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        ++opened;
        return interpose::open.real(path, flags, mode);
    });
    for (const char* volatile format : kDroppedFormats) {
        writeLog("f", 1, 1, format, "text", 1);
    }
    EXPECT_EQ(opened, 0);
}

TEST(LogFilter, neverHonoursPercentN) {
    int count = 4711;
    const char* volatile format = "abc%n";
    writeLog("f", 1, 1, format, &count);
    EXPECT_EQ(count, 4711);
}

TEST(LogFilter, writesPercentNThatStandsInAnArgument) {
    writeLog("f", 1, 1, "%s", "%n %N");
    EXPECT_EQ(testlog::lines(), (Lines{{1, "%n %N"}}));
}

TEST(LogFilter, writesFormatsWithPercentAndNApart) {
    const char* volatile format = "100%% n%dN";
    writeLog("f", 1, 1, format, 5);
    EXPECT_EQ(testlog::lines(), (Lines{{1, "100% n5N"}}));
}

namespace {

std::vector<std::pair<int, std::string>> localesSetBy(unsigned int level, const char* format) {
    std::vector<std::pair<int, std::string>> calls;
    const auto setlocale = interpose::setlocale.replace([&](int category, const char* locale) -> char* {
        calls.emplace_back(category, locale == nullptr ? "" : locale);
        return nullptr;
    });
    writeLog("f", 1, level, format);
    return calls;
}

const std::vector<std::pair<int, std::string>> kOneCall{{LC_ALL, "chs"}};

}  // namespace

TEST(LogLocale, isSetOnAWrittenLine) {
    EXPECT_EQ(localesSetBy(1, "text"), kOneCall);
}

TEST(LogLocale, isSetOnAFilteredLine) {
    EXPECT_EQ(localesSetBy(4, "text"), kOneCall);
}

TEST(LogLocale, isSetOnAFormatWithPercentN) {
    const char* volatile format = "%n";
    EXPECT_EQ(localesSetBy(1, format), kOneCall);
}

TEST(LogLocale, isSetOnEveryCall) {
    int calls = 0;
    const auto setlocale = interpose::setlocale.replace([&](int, const char*) -> char* {
        ++calls;
        return nullptr;
    });
    for (unsigned int level = 1; level <= 4; ++level) {
        writeLog("f", 1, level, "text");
    }
    EXPECT_EQ(calls, 4);
}

TEST(LogLocale, doesNotMatterToTheLine) {
    static char name[] = "chs";
    const auto setlocale = interpose::setlocale.replace([](int, const char*) -> char* { return name; });
    writeLog("f", 1, 1, "text");
    EXPECT_EQ(testlog::lines(), (Lines{{1, "text"}}));
}
