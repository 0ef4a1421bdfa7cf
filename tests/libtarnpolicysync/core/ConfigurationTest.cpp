#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testlog::Line;

const std::string kTruncated = "###ERROR: in func initConfigInfo, /etc/tarn/tarn-policy.conf is truncate.";

std::string invalidValue(const std::string& key, const std::string& value) {
    return "###ERROR: in func initConfigInfo, invalid " + key + " value: " + value;
}

std::string invalidKey(const std::string& key) {
    return "###ERROR: in func initConfigInfo, file /etc/tarn/tarn-policy.conf param " + key + " is invalid.";
}

std::string tooManyThreads(unsigned int number) {
    return "###ERROR: threadnum " + std::to_string(number) + " exceeds maximum 64, fallback to auto-detect.";
}

std::string lineOf(const std::string& key, const std::string& value) {
    return key + "=" + value + "\n";
}

// The highest level that is still written, up to 9. Leaves a trace in the log.
unsigned int levelInForce() {
    constexpr unsigned int kHighest = 9;
    const std::size_t before = testlog::lines().size();
    for (unsigned int level = 1; level <= kHighest; ++level) {
        writeLog("probe", 1, level, "probe");
    }
    return static_cast<unsigned int>(testlog::lines().size() - before);
}

struct Settings {
    unsigned int threads;
    unsigned int printtime;
    bool logflag;
    unsigned int level;
    std::vector<Line> log;
};

// What a manager makes of this configuration on a machine of so many processors.
Settings read(const std::string& content, int processors = 8) {
    testlog::clear();
    setLogLevel(3);
    testfiles::write(paths::kConfiguration, content);
    auto hook = interpose::get_nprocs.replace([=] { return processors; });
    const ManagerAccess manager;
    Settings settings{manager.threadnum, manager.printtime, manager.logflag, 0, testlog::lines()};
    settings.level = levelInForce();
    return settings;
}

TEST(Configuration, AMissingFileGivesTheDefaultsWithoutAMessage) {
    auto hook = interpose::get_nprocs.replace([] { return 8; });
    const ManagerAccess manager;
    EXPECT_EQ(manager.threadnum, 4);
    EXPECT_EQ(manager.printtime, 0U);
    EXPECT_FALSE(manager.logflag);
    EXPECT_THAT(testlog::lines(), ElementsAre());
    EXPECT_EQ(levelInForce(), 3U);
}

TEST(Configuration, AnEmptyFileGivesTheDefaultsWithoutAMessage) {
    const Settings settings = read("");
    EXPECT_EQ(settings.threads, 4U);
    EXPECT_EQ(settings.printtime, 0U);
    EXPECT_FALSE(settings.logflag);
    EXPECT_EQ(settings.level, 3U);
    EXPECT_THAT(settings.log, ElementsAre());
}

TEST(Configuration, AnUnreadableFileGivesTheDefaultsAndTheReadersMessageAlone) {
    testfiles::makeDirectories(paths::kConfiguration);
    auto hook = interpose::get_nprocs.replace([] { return 8; });
    const ManagerAccess manager;
    EXPECT_EQ(manager.threadnum, 4);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "readFileToVecImpl: /etc/tarn/tarn-policy.conf is not a regular file"}));
    EXPECT_EQ(levelInForce(), 3U);
}

TEST(Configuration, AnUnreadableFileStillSetsTheDefaultLevel) {
    setLogLevel(4);
    const ManagerAccess manager;
    EXPECT_EQ(levelInForce(), 3U);
}

TEST(Configuration, ReadsAllFourKeys) {
    const Settings settings = read("threadnum=3\nprinttime=1\nloglevel=2\nlogflag=1\n");
    EXPECT_EQ(settings.threads, 3U);
    EXPECT_EQ(settings.printtime, 1U);
    EXPECT_EQ(settings.level, 2U);
    EXPECT_TRUE(settings.logflag);
    EXPECT_THAT(settings.log, ElementsAre());
}

TEST(Configuration, ReadingAgainStartsFromTheDefaults) {
    testfiles::write(paths::kConfiguration, "threadnum=3\nprinttime=1\nloglevel=2\nlogflag=1\n");
    auto hook = interpose::get_nprocs.replace([] { return 12; });
    ManagerAccess manager;
    testfiles::write(paths::kConfiguration, "\n");
    manager.initConfigInfo();
    EXPECT_EQ(manager.threadnum, 6);
    EXPECT_EQ(manager.printtime, 0U);
    EXPECT_FALSE(manager.logflag);
    EXPECT_EQ(levelInForce(), 3U);
}

TEST(Configuration, WithoutAThreadCountHalfTheProcessorsButOneToEight) {
    const std::vector<std::pair<int, unsigned int>> expectations = {
        {0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 2}, {6, 3}, {8, 4}, {15, 7}, {16, 8}, {17, 8}, {18, 8}, {32, 8}, {1024, 8}};
    for (const auto& [processors, threads] : expectations) {
        EXPECT_EQ(read("printtime=0\n", processors).threads, threads) << processors << " processors";
    }
}

TEST(Configuration, AThreadCountOfZeroIsDerivedWithoutAMessage) {
    const Settings settings = read("threadnum=0\n", 6);
    EXPECT_EQ(settings.threads, 3U);
    EXPECT_THAT(settings.log, ElementsAre());
}

TEST(Configuration, AThreadCountUpToTheProcessorsIsTaken) {
    EXPECT_EQ(read("threadnum=8\n", 8).threads, 8U);
    EXPECT_EQ(read("threadnum=1\n", 1).threads, 1U);
    EXPECT_EQ(read("threadnum=64\n", 64).threads, 64U);
    EXPECT_EQ(read("threadnum=100\n", 128).threads, 100U);
    EXPECT_THAT(testlog::lines(1), ElementsAre(Line{1, "probe"}));
}

TEST(Configuration, AThreadCountBeyondTheProcessorsIsReportedAndDerived) {
    const Settings settings = read("threadnum=16\n", 8);
    EXPECT_EQ(settings.threads, 4U);
    EXPECT_THAT(settings.log, ElementsAre(Line{1, tooManyThreads(16)}));
}

TEST(Configuration, TheBoundOfTheThreadCountIsTheProcessorCountNot64) {
    const Settings settings = read("threadnum=3\n", 2);
    EXPECT_EQ(settings.threads, 1U);
    EXPECT_THAT(settings.log, ElementsAre(Line{1, tooManyThreads(3)}));
}

TEST(Configuration, WithoutAProcessorCountEveryThreadCountIsReportedAndOneIsDerived) {
    for (const unsigned int number : {1U, 64U, 65535U}) {
        const Settings settings = read(lineOf("threadnum", std::to_string(number)), 0);
        EXPECT_EQ(settings.threads, 1U) << number;
        EXPECT_THAT(settings.log, ElementsAre(Line{1, tooManyThreads(number)})) << number;
    }
}

TEST(Configuration, AThreadCountIsCutTo16BitsBeforeItIsJudged) {
    EXPECT_EQ(read("threadnum=65537\n").threads, 1U);
    EXPECT_EQ(read("threadnum=65538\n").threads, 2U);
    EXPECT_EQ(read("threadnum=4294967299\n").threads, 3U);
    const Settings zero = read("threadnum=65536\n");
    EXPECT_EQ(zero.threads, 4U);
    EXPECT_THAT(zero.log, ElementsAre());
    const Settings large = read("threadnum=65552\n");
    EXPECT_EQ(large.threads, 4U);
    EXPECT_THAT(large.log, ElementsAre(Line{1, tooManyThreads(16)}));
    const Settings negative = read("threadnum=-1\n");
    EXPECT_EQ(negative.threads, 4U);
    EXPECT_THAT(negative.log, ElementsAre(Line{1, tooManyThreads(65535)}));
}

TEST(Configuration, AnyPrinttimeButZeroIsOn) {
    EXPECT_EQ(read("printtime=0\n").printtime, 0U);
    EXPECT_EQ(read("printtime=1\n").printtime, 1U);
    EXPECT_EQ(read("printtime=4294967295\n").printtime, 0xFFFFFFFFU);
    EXPECT_NE(read("printtime=-1\n").printtime, 0U);
}

TEST(Configuration, APrinttimeBeyond32BitsIsOnEvenWhereItsLowWordIsZero) {
    EXPECT_NE(read("printtime=4294967296\n").printtime, 0U);
    EXPECT_NE(read("printtime=18446744069414584320\n").printtime, 0U);
}

TEST(Configuration, LogLevelsFrom0To4AreTaken) {
    for (unsigned int level = 0; level <= 4; ++level) {
        const Settings settings = read("loglevel=" + std::to_string(level) + "\n");
        EXPECT_EQ(settings.level, level == 4 ? 4U : level);
        EXPECT_THAT(settings.log, ElementsAre());
    }
}

TEST(Configuration, ALogLevelAbove4IsReportedAndClamped) {
    for (const std::string level : {"5", "9", "4294967295"}) {
        const Settings settings = read("loglevel=" + level + "\n");
        EXPECT_EQ(settings.level, 4U);
        EXPECT_THAT(settings.log, ElementsAre(Line{2, "loglevel " + level + " exceeds maximum 4, clamping to 4"}));
    }
}

TEST(Configuration, ALogLevelBeyond32BitsIsClampedToo) {
    for (const std::string level : {"4294967296", "4294967297", "18446744073709551615", "-1"}) {
        const Settings settings = read("loglevel=" + level + "\n");
        EXPECT_EQ(settings.level, 4U) << level;
        ASSERT_EQ(settings.log.size(), 1U) << level;
        EXPECT_EQ(settings.log[0].level, 2) << level;
        EXPECT_THAT(settings.log[0].text, testing::MatchesRegex("loglevel [0-9]+ exceeds maximum 4, clamping to 4"));
    }
}

TEST(Configuration, AnyLogflagButZeroIsOn) {
    EXPECT_FALSE(read("logflag=0\n").logflag);
    EXPECT_FALSE(read("logflag=00\n").logflag);
    EXPECT_TRUE(read("logflag=1\n").logflag);
    EXPECT_TRUE(read("logflag=2\n").logflag);
    EXPECT_TRUE(read("logflag=256\n").logflag);
    EXPECT_TRUE(read("logflag=-1\n").logflag);
    EXPECT_TRUE(read("logflag=4294967296\n").logflag);
}

TEST(Configuration, AValueThatDoesNotConvertIsReportedAndLeavesTheDefault) {
    for (const std::string key : {"threadnum", "printtime", "loglevel", "logflag"}) {
        for (const std::string value : {"many", "x1", "-", " ", "18446744073709551616"}) {
            const Settings settings = read(lineOf(key, value));
            EXPECT_EQ(settings.threads, 4U);
            EXPECT_EQ(settings.printtime, 0U);
            EXPECT_FALSE(settings.logflag);
            EXPECT_EQ(settings.level, 3U);
            EXPECT_THAT(settings.log, ElementsAre(Line{1, invalidValue(key, value)}));
        }
    }
}

TEST(Configuration, ABadValueLeavesAnEarlierOneOfItsKey) {
    const Settings settings =
        read("threadnum=2\nthreadnum=x\nprinttime=5\nprinttime=x\nloglevel=2\nloglevel=x\nlogflag=1\nlogflag=x\n");
    EXPECT_EQ(settings.threads, 2U);
    EXPECT_EQ(settings.printtime, 5U);
    EXPECT_EQ(settings.level, 2U);
    EXPECT_TRUE(settings.logflag);
    EXPECT_THAT(settings.log,
                ElementsAre(Line{1, invalidValue("threadnum", "x")}, Line{1, invalidValue("printtime", "x")},
                            Line{1, invalidValue("loglevel", "x")}, Line{1, invalidValue("logflag", "x")}));
}

TEST(Configuration, ValuesMayHaveLeadingBlanksASignAndTrailingText) {
    EXPECT_EQ(read("threadnum= \t2\n").threads, 2U);
    EXPECT_EQ(read("threadnum=+2\n").threads, 2U);
    EXPECT_EQ(read("threadnum=2 threads\n").threads, 2U);
    EXPECT_EQ(read("threadnum=2\r\n").threads, 2U);
    EXPECT_EQ(read("threadnum=0002\n").threads, 2U);
    EXPECT_THAT(testlog::lines(1), ElementsAre(Line{1, "probe"}));
}

TEST(Configuration, ValuesAreDecimal) {
    EXPECT_EQ(read("printtime=010\n").printtime, 10U);
    EXPECT_EQ(read("printtime=0x10\n").printtime, 0U);
}

TEST(Configuration, ALaterLineOverridesAnEarlierOne) {
    const Settings settings =
        read("threadnum=2\nprinttime=1\nloglevel=1\nlogflag=1\nthreadnum=3\nprinttime=7\nloglevel=2\nlogflag=0\n");
    EXPECT_EQ(settings.threads, 3U);
    EXPECT_EQ(settings.printtime, 7U);
    EXPECT_EQ(settings.level, 2U);
    EXPECT_FALSE(settings.logflag);
}

TEST(Configuration, ALaterThreadCountThatIsTooLargeDropsTheEarlierOne) {
    EXPECT_EQ(read("threadnum=2\nthreadnum=9\n", 8).threads, 4U);
    EXPECT_EQ(read("threadnum=9\nthreadnum=2\n", 8).threads, 2U);
}

TEST(Configuration, ALineWithoutExactlyTwoFieldsIsReportedAsTruncated) {
    for (const std::string line :
         {"threadnum", "threadnum=", "=3", "=", "===", "threadnum=3=4", "loglevel=2=", "=loglevel=2", "a=b=c", " "}) {
        const Settings settings = read(line + "\n");
        if (line == "loglevel=2=" || line == "=loglevel=2") {
            // Empty pieces vanish, so that two are left.
            EXPECT_EQ(settings.level, 2U) << line;
            EXPECT_THAT(settings.log, ElementsAre()) << line;
        } else {
            EXPECT_EQ(settings.threads, 4U) << line;
            EXPECT_THAT(settings.log, ElementsAre(Line{1, kTruncated})) << line;
        }
    }
}

TEST(Configuration, ADoubledEqualsSignLeavesTwoFieldsAndIsAccepted) {
    const Settings settings = read("threadnum==1\n");
    EXPECT_EQ(settings.threads, 1U);
    EXPECT_THAT(settings.log, ElementsAre());
}

TEST(Configuration, KeysAreComparedExactly) {
    for (const std::string key : {" threadnum", "threadnum ", "ThreadNum", "THREADNUM", "threadnu", "threadnums",
                                  "#threadnum", "unknown", "Loglevel", "printTime", "logFlag", "\tlogflag"}) {
        const Settings settings = read(key + "=2\n");
        const std::string shown = key == "\tlogflag" ? "\\tlogflag" : key;
        EXPECT_EQ(settings.threads, 4U);
        EXPECT_EQ(settings.printtime, 0U);
        EXPECT_EQ(settings.level, 3U);
        EXPECT_FALSE(settings.logflag);
        EXPECT_THAT(settings.log, ElementsAre(Line{1, invalidKey(shown)}));
    }
}

TEST(Configuration, AnUnknownKeyIsReportedWhateverItsValue) {
    EXPECT_THAT(read("unknown=x\n").log, ElementsAre(Line{1, invalidKey("unknown")}));
}

TEST(Configuration, BadLinesAreSkippedOneByOne) {
    const Settings settings = read("bad\nprinttime=1\n\nx=1\nloglevel=y\nlogflag=1\na=b=c\nthreadnum=2\n");
    EXPECT_EQ(settings.threads, 2U);
    EXPECT_EQ(settings.printtime, 1U);
    EXPECT_TRUE(settings.logflag);
    EXPECT_THAT(settings.log, ElementsAre(Line{1, kTruncated}, Line{1, invalidKey("x")},
                                          Line{1, invalidValue("loglevel", "y")}, Line{1, kTruncated}));
}

TEST(Configuration, EmptyLinesAreSkipped) {
    const Settings settings = read("\n\nthreadnum=2\n\n\n");
    EXPECT_EQ(settings.threads, 2U);
    EXPECT_THAT(settings.log, ElementsAre());
}

TEST(Configuration, TheLevelTakesEffectOnlyAfterTheWholeFile) {
    const Settings settings = read("loglevel=0\nbad\n");
    EXPECT_EQ(settings.level, 0U);
    EXPECT_THAT(settings.log, ElementsAre(Line{1, kTruncated}));
}

TEST(Configuration, TheReadersMessagesAreFilteredByTheLevelBefore) {
    testfiles::write(paths::kConfiguration, "bad\nloglevel=9\n");
    setLogLevel(1);
    const ManagerAccess manager;
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kTruncated}));
    EXPECT_EQ(levelInForce(), 4U);
}

TEST(Configuration, IsReadAtConstructionAlone) {
    testfiles::write(paths::kConfiguration, "printtime=1\n");
    ManagerAccess manager;
    testfiles::write(paths::kConfiguration, "printtime=2\n");
    manager.clearAllPolicy();
    manager.prepareWork();
    EXPECT_EQ(manager.printtime, 1U);
}

}  // namespace
