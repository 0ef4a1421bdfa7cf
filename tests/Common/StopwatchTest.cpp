// The stopwatch of the manager's stages.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <thread>
#include <type_traits>

#include "Common/Common.h"
#include "support/ManagerAccess.h"
#include "support/StdoutCapture.h"

namespace {

class Stopwatch : public testing::Test {
protected:
    Stopwatch() { manager_.printtime = 1; }

    std::string output(const std::string& stage, const std::string& label) {
        StdoutCapture capture;
        manager_.printTime(stage, label);
        return capture.finish();
    }

    // Lets the stage have been stamped this long ago.
    void stampBefore(const std::string& stage, std::int64_t milliseconds) {
        manager_.timeMap[stage] = getTimeStamp() - milliseconds;
    }

    ManagerAccess manager_;
};

// The elapsed milliseconds of a line "stage->label:N"; -1 where the line is another.
long elapsed(const std::string& line, const std::string& stageAndLabel) {
    std::smatch match;
    return std::regex_match(line, match, std::regex(stageAndLabel + R"(:(\d+)\n)")) ? std::stol(match[1]) : -1;
}

}  // namespace

TEST_F(Stopwatch, doesNothingWhenSwitchedOff) {
    manager_.printtime = 0;
    stampBefore("stage", 1000);
    const auto before = manager_.timeMap;
    EXPECT_EQ(output("stage", "label"), "");
    EXPECT_EQ(output("stage", ""), "");
    EXPECT_EQ(output("never started", "label"), "");
    EXPECT_EQ(manager_.timeMap, before);
}

TEST_F(Stopwatch, isSwitchedOffAtFirst) {
    EXPECT_EQ(ManagerAccess().printtime, 0U);
}

TEST_F(Stopwatch, isOnForEveryOtherValue) {
    manager_.printtime = 0xFFFFFFFF;
    EXPECT_EQ(output("stage", "label"), "printTime:Not find last time\n");
}

TEST_F(Stopwatch, startsSilentlyWithAnEmptyLabel) {
    const std::int64_t before = getTimeStamp();
    EXPECT_EQ(output("stage", ""), "");
    ASSERT_EQ(manager_.timeMap.count("stage"), 1U);
    EXPECT_GE(manager_.timeMap["stage"], before);
    EXPECT_LE(manager_.timeMap["stage"], getTimeStamp());
}

TEST_F(Stopwatch, startsAgainWithAnEmptyLabel) {
    stampBefore("stage", 100000);
    EXPECT_EQ(output("stage", ""), "");
    EXPECT_LT(getTimeStamp() - manager_.timeMap["stage"], 50000);
}

TEST_F(Stopwatch, printsStageLabelAndElapsedMilliseconds) {
    stampBefore("stage", 100000);
    const long milliseconds = elapsed(output("stage", "label"), "stage->label");
    EXPECT_GE(milliseconds, 100000);
    EXPECT_LT(milliseconds, 150000);
}

TEST_F(Stopwatch, measuresFromThePreviousLabel) {
    stampBefore("stage", 100000);
    EXPECT_GE(elapsed(output("stage", "first"), "stage->first"), 100000);
    const long second = elapsed(output("stage", "second"), "stage->second");
    EXPECT_GE(second, 0);
    EXPECT_LT(second, 50000);
}

TEST_F(Stopwatch, storesTheStampOfALabel) {
    stampBefore("stage", 100000);
    const std::int64_t before = getTimeStamp();
    output("stage", "label");
    EXPECT_GE(manager_.timeMap["stage"], before);
}

TEST_F(Stopwatch, keepsTheStagesApart) {
    stampBefore("one", 100000);
    stampBefore("two", 300000);
    EXPECT_LT(elapsed(output("one", "label"), "one->label"), 150000);
    EXPECT_GE(elapsed(output("two", "label"), "two->label"), 300000);
}

TEST_F(Stopwatch, saysSoForAStageThatWasNeverStarted) {
    EXPECT_EQ(output("stage", "label"), "printTime:Not find last time\n");
}

TEST_F(Stopwatch, startsNothingForAStageThatWasNeverStarted) {
    output("stage", "label");
    EXPECT_EQ(manager_.timeMap.count("stage"), 0U);
    EXPECT_EQ(output("stage", "label"), "printTime:Not find last time\n");
}

TEST_F(Stopwatch, takesItsArgumentsByValue) {
    static_assert(std::is_same_v<decltype(&ManagerAccess::printTime),
                                 void (PolicyModuleManagerInterface::*)(std::string, std::string)>);
}

TEST_F(Stopwatch, printsWholeLinesFromSeveralThreads) {
    constexpr int kThreads = 8;
    constexpr int kLabels = 50;
    StdoutCapture capture;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            const std::string stage = "stage" + std::to_string(thread);
            manager_.printTime(stage, "");
            for (int label = 0; label < kLabels; ++label) {
                manager_.printTime(stage, "label");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::istringstream lines(capture.finish());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_GE(elapsed(line + "\n", "stage[0-7]->label"), 0) << line;
    }
    EXPECT_EQ(count, kThreads * kLabels);
}
