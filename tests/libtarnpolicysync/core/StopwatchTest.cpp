// The stage stopwatch of the manager.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <locale>
#include <regex>
#include <string>
#include <utility>

#include "Common/Common.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"
#include "support/StdoutCapture.h"
#include "support/Threads.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Stopwatch : public testing::Test {
protected:
    Stopwatch() { manager.printtime = 1; }
    std::string print(const std::string& stage, const std::string& label) {
        StdoutCapture output;
        manager.printTime(stage, label);
        return output.finish();
    }
    ManagerAccess manager;
};

TEST_F(Stopwatch, SwitchedOffItDoesNothing) {
    manager.printtime = 0;
    const MutexTrace trace(manager);
    EXPECT_EQ(print("stage", ""), "");
    EXPECT_EQ(print("stage", "lap"), "");
    EXPECT_THAT(manager.timeMap, IsEmpty());
    EXPECT_THAT(trace.steps(), ElementsAre());
}

TEST_F(Stopwatch, SwitchedOffItLeavesWhatItMeasuredBefore) {
    manager.timeMap["stage"] = 5;
    manager.printtime = 0;
    EXPECT_EQ(print("stage", ""), "");
    EXPECT_EQ(print("stage", "lap"), "");
    EXPECT_THAT(manager.timeMap, ElementsAre(std::pair<const std::string, std::int64_t>("stage", 5)));
}

TEST_F(Stopwatch, IsSwitchedOffAtFirst) {
    EXPECT_EQ(ManagerAccess().printtime, 0U);
}

TEST_F(Stopwatch, AnyNonZeroSwitchTurnsItOn) {
    manager.printtime = 0x80000000;
    print("stage", "");
    EXPECT_EQ(manager.timeMap.size(), 1U);
}

TEST_F(Stopwatch, AnEmptyLabelStartsAStageSilently) {
    const std::int64_t before = getTimeStamp();
    EXPECT_EQ(print("stage", ""), "");
    const std::int64_t after = getTimeStamp();
    EXPECT_GE(manager.timeMap.at("stage"), before);
    EXPECT_LE(manager.timeMap.at("stage"), after);
}

TEST_F(Stopwatch, AnEmptyLabelStartsAStageAnew) {
    manager.timeMap["stage"] = 5;
    print("stage", "");
    EXPECT_GT(manager.timeMap.at("stage"), 5);
}

TEST_F(Stopwatch, ALabelShowsTheMillisecondsSinceTheLastCall) {
    manager.timeMap["stage"] = getTimeStamp() - 5000;
    const std::string first = print("stage", "lap");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(first, match, std::regex("stage->lap:([0-9]+)\n")));
    EXPECT_GE(std::stol(match[1]), 5000);
    EXPECT_LT(std::stol(match[1]), 60000);
    const std::string second = print("stage", "next");
    ASSERT_TRUE(std::regex_match(second, match, std::regex("stage->next:([0-9]+)\n")));
    EXPECT_LT(std::stol(match[1]), 5000);
}

TEST_F(Stopwatch, ALapHasNoGroupedDigitsWhateverTheLocaleOfTheStream) {
    struct GroupedDigits : std::numpunct<char> {
        std::string do_grouping() const override { return "\1"; }
    };
    manager.timeMap["stage"] = 0;
    const std::locale before =
        std::cout.imbue(std::locale(std::locale::classic(), new GroupedDigits));  // the locale owns it
    const std::string text = print("stage", "lap");
    std::cout.imbue(before);
    EXPECT_TRUE(std::regex_match(text, std::regex("stage->lap:[0-9]{13,}\n"))) << text;
}

TEST_F(Stopwatch, ALabelStoresTheCurrentStamp) {
    manager.timeMap["stage"] = 5;
    const std::int64_t before = getTimeStamp();
    print("stage", "lap");
    EXPECT_GE(manager.timeMap.at("stage"), before);
    EXPECT_LE(manager.timeMap.at("stage"), getTimeStamp());
}

TEST_F(Stopwatch, AStageThatWasNeverStartedIsNotFoundAndNotStarted) {
    for (const char* label : {"lap", "next"}) {
        EXPECT_EQ(print("stage", label), "printTime:Not find last time\n");
        EXPECT_THAT(manager.timeMap, IsEmpty());
    }
}

TEST_F(Stopwatch, StagesAreMeasuredApart) {
    manager.timeMap["one"] = getTimeStamp() - 100000;
    print("two", "");
    const std::string text = print("one", "lap");
    EXPECT_TRUE(std::regex_match(text, std::regex("one->lap:[0-9]{6,}\n"))) << text;
}

TEST_F(Stopwatch, NothingGoesToTheLog) {
    print("stage", "");
    print("stage", "lap");
    print("other", "lap");
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST_F(Stopwatch, EachCallHoldsItsMutexAlone) {
    const MutexTrace trace(manager);
    print("stage", "");
    print("stage", "lap");
    print("other", "lap");
    EXPECT_THAT(trace.steps(),
                ElementsAre("lock time", "unlock time", "lock time", "unlock time", "lock time", "unlock time"));
}

TEST_F(Stopwatch, ThreadsMayTimeStagesAtOnce) {
    StdoutCapture output;
    runInThreads(4, [&](std::size_t thread) {
        for (int turn = 0; turn < 50; ++turn) {
            manager.printTime("stage" + std::to_string(thread), "");
            manager.printTime("stage" + std::to_string(thread), "lap");
        }
    });
    EXPECT_TRUE(std::regex_match(output.finish(), std::regex("(stage[0-3]->lap:[0-9]+\n){200}")));
}

}  // namespace
