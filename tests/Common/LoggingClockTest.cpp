// The two stamps and the switch of the long prefix.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <regex>
#include <thread>
#include <type_traits>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

namespace {

// GetSystime at a fixed moment in a time zone.
std::string timeText(const char* zone, std::time_t moment) {
    setenv("TZ", zone, 1);
    tzset();
    const auto time = interpose::time.replace([moment](std::time_t* result) {
        if (result != nullptr) {
            *result = moment;
        }
        return moment;
    });
    return GetSystime();
}

struct sigaction installed(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action;
}

std::string outputOfSignal() {
    StdoutCapture output;
    raise(SIGUSR1);
    return output.finish();
}

}  // namespace

TEST(GetSystime, givesDateAndTimeOfDay) {
    EXPECT_EQ(timeText("UTC", 1714557600), "2024-05-01 10:00:00");
}

TEST(GetSystime, givesLocalTime) {
    EXPECT_EQ(timeText("EAST-03:30", 1714557600), "2024-05-01 13:30:00");
}

TEST(GetSystime, fillsWithZerosToTwoDigits) {
    EXPECT_EQ(timeText("UTC", 981173106), "2001-02-03 04:05:06");
}

TEST(GetSystime, countsMonthsFromOneAndYearsFrom1900) {
    EXPECT_EQ(timeText("UTC", 0), "1970-01-01 00:00:00");
    EXPECT_EQ(timeText("UTC", 1735689599), "2024-12-31 23:59:59");
}

TEST(GetSystime, fillsTheYearWithBlanksToFourDigits) {
    const auto localtime = interpose::localtime_r.replace([](const std::time_t*, struct tm* result) {
        *result = {};
        result->tm_year = 33 - 1900;
        result->tm_mday = 3;
        return result;
    });
    EXPECT_EQ(GetSystime(), "  33-01-03 00:00:00");
}

TEST(GetSystime, readsTheClock) {
    setenv("TZ", "UTC", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    const std::string text = GetSystime();
    struct tm parts {};
    ASSERT_NE(strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &parts), nullptr) << text;
    const std::time_t moment = timegm(&parts);
    EXPECT_GE(moment, before);
    EXPECT_LE(moment, std::time(nullptr));
}

TEST(GetTimeStamp, countsMillisecondsSinceTheEpoch) {
    static_assert(std::is_same_v<decltype(getTimeStamp()), std::int64_t>);
    const auto now = [] {
        return std::chrono::system_clock::now().time_since_epoch() / std::chrono::nanoseconds(1000000);
    };
    const auto before = now();
    const std::int64_t stamp = getTimeStamp();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, now());
}

TEST(GetTimeStamp, movesOnByTheTimeThatPasses) {
    const std::int64_t before = getTimeStamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_GE(getTimeStamp() - before, 29);
}

TEST(DebugSwitch, isNotInstalledByLoadingTheLibrary) {
    EXPECT_EQ(installed(SIGUSR1).sa_handler, SIG_DFL);
}

TEST(DebugSwitch, hasNoFlagsAndAnEmptyMask) {
    enableDebugLog();
    const struct sigaction action = installed(SIGUSR1);
    constexpr unsigned int kRestorer = 0x04000000;  // set by the C library on some machines
    EXPECT_EQ(static_cast<unsigned int>(action.sa_flags) & ~kRestorer, 0U);
    EXPECT_TRUE(sigisemptyset(&action.sa_mask));
    EXPECT_NE(action.sa_handler, SIG_DFL);
    EXPECT_NE(action.sa_handler, SIG_IGN);
}

TEST(DebugSwitch, isInstalledSilentlyAndForOneSignalOnly) {
    std::vector<void (*)(int)> before;
    for (int signal = 1; signal < 32; ++signal) {
        before.push_back(installed(signal).sa_handler);
    }
    StdoutCapture output;
    enableDebugLog();
    EXPECT_EQ(output.finish(), "");
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
    for (int signal = 1; signal < 32; ++signal) {
        if (signal != SIGUSR1) {
            EXPECT_EQ(installed(signal).sa_handler, before[static_cast<std::size_t>(signal - 1)]) << signal;
        }
    }
}

TEST(DebugSwitch, startsClear) {
    enableDebugLog();
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "x"}}));
}

TEST(DebugSwitch, announcesEachChange) {
    enableDebugLog();
    EXPECT_EQ(outputOfSignal(), "Debug mode enabled\n");
    EXPECT_EQ(outputOfSignal(), "Debug mode disabled\n");
    EXPECT_EQ(outputOfSignal(), "Debug mode enabled\n");
}

TEST(DebugSwitch, announcesWithOneWriteToDescriptorOne) {
    enableDebugLog();
    std::vector<std::pair<int, std::string>> writes;
    const auto write = interpose::write.replace([&](int fd, const void* data, std::size_t count) {
        writes.emplace_back(fd, std::string(static_cast<const char*>(data), count));
        return static_cast<ssize_t>(count);
    });
    raise(SIGUSR1);
    raise(SIGUSR1);
    EXPECT_EQ(writes,
              (std::vector<std::pair<int, std::string>>{{1, "Debug mode enabled\n"}, {1, "Debug mode disabled\n"}}));
}

TEST(DebugSwitch, leavesTheErrnoOfTheInterruptedCode) {
    enableDebugLog();
    const auto handler = installed(SIGUSR1).sa_handler;
    int writes = 0;
    const auto write = interpose::write.replace([&](int /*fd*/, const void* /*data*/, std::size_t /*count*/) {
        ++writes;
        errno = EBADF;
        return ssize_t{-1};
    });
    for (const int number : {ENOENT, 0}) {
        errno = number;
        handler(SIGUSR1);
        EXPECT_EQ(errno, number);
    }
    EXPECT_EQ(writes, 2);
}

TEST(DebugSwitch, ignoresOtherSignals) {
    enableDebugLog();
    const auto handler = installed(SIGUSR1).sa_handler;
    StdoutCapture output;
    for (int signal = 0; signal < 65; ++signal) {
        if (signal != SIGUSR1) {
            handler(signal);
        }
    }
    EXPECT_EQ(output.finish(), "");
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "x"}}));
}

TEST(DebugSwitch, mayBeEnabledTwice) {
    enableDebugLog();
    enableDebugLog();
    EXPECT_EQ(outputOfSignal(), "Debug mode enabled\n");
}

TEST(DebugSwitch, losesNoSignalOfSeveralThreads) {
    enableDebugLog();
    const auto handler = installed(SIGUSR1).sa_handler;
    StdoutCapture output;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 500; ++call) {
                handler(SIGUSR1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    output.finish();
    writeLog("f", 1, 1, "x");
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "x"}}));
}
