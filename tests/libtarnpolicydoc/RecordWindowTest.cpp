#include "libtarnpolicydoc/RecordWindow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using policydoc::RecordWindow;

constexpr std::uint64_t kRoom = 1048552;

// The largest sum of up to 10,000 consecutive records.
std::uint64_t largestRun(const std::vector<std::uint64_t>& records) {
    std::uint64_t sum = 0;
    std::uint64_t largest = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        sum += records[i];
        if (i >= 10000) {
            sum -= records[i - 10000];
        }
        largest = std::max(largest, sum);
    }
    return largest;
}

TEST(RecordWindowTest, TakesNoRecordsAtAnyTime) {
    EXPECT_TRUE(RecordWindow().fits(0, kRoom + 1));
}

TEST(RecordWindowTest, TakesExactlyTheRoomOfAMessage) {
    EXPECT_TRUE(RecordWindow().fits(1, kRoom));
    EXPECT_FALSE(RecordWindow().fits(1, kRoom + 1));
    EXPECT_TRUE(RecordWindow().fits(8, kRoom / 8));
    EXPECT_FALSE(RecordWindow().fits(9, kRoom / 8));
}

TEST(RecordWindowTest, TakesAnyNumberOfRecordsOfWhichTenThousandFit) {
    EXPECT_TRUE(RecordWindow().fits(1000000, 104));
    EXPECT_FALSE(RecordWindow().fits(10000, 105));
}

TEST(RecordWindowTest, ForgetsRecordsThatNoMessageCanShare) {
    RecordWindow window;
    window.append(1, 500000);
    EXPECT_FALSE(window.fits(9999, 100));
    window.append(5000, 100);
    window.append(4999, 1);
    EXPECT_FALSE(window.fits(1, 600000));  // the window still begins with the second record
    EXPECT_TRUE(window.fits(1, 500000));
}

TEST(RecordWindowTest, SeesAPeakInTheMiddleOfWhatIsAppended) {
    RecordWindow window;
    window.append(5000, 10);
    window.append(5000, 190);  // 1,000,000 bytes: each 104 pushes out a 10 first, then a 190
    EXPECT_FALSE(window.fits(10000, 104));
    EXPECT_TRUE(window.fits(500, 104));
    EXPECT_FALSE(window.fits(520, 104));
}

TEST(RecordWindowTest, AgreesWithCountingEveryRecord) {
    std::mt19937 engine(7);
    int refused = 0;
    for (int round = 0; round < 60; ++round) {
        RecordWindow window;
        std::vector<std::uint64_t> records;
        for (int step = 0; step < 60; ++step) {
            const std::uint64_t count = engine() % 4 == 0 ? engine() % 12000 : engine() % 300;
            const std::uint64_t bytes = engine() % 6 == 0 ? 100 + engine() % 20000 : 60 + engine() % 60;
            std::vector<std::uint64_t> longer = records;
            longer.insert(longer.end(), count, bytes);
            const bool fits = largestRun(longer) <= kRoom;
            ASSERT_EQ(window.fits(count, bytes), fits) << "round " << round << ", step " << step;
            refused += fits ? 0 : 1;
            if (fits) {
                window.append(count, bytes);
                records = longer;
            }
        }
    }
    EXPECT_GT(refused, 100);
}

}  // namespace
