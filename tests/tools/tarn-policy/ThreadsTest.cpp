#include <gtest/gtest.h>

#include "Threads.h"

namespace {

TEST(ThreadsTest, HalfOfTheProcessorsWhereNothingIsConfigured) {
    EXPECT_EQ(threadsFromConfiguration({}, 1), 1U);
    EXPECT_EQ(threadsFromConfiguration({}, 6), 3U);
    EXPECT_EQ(threadsFromConfiguration({}, 32), 8U);
    EXPECT_EQ(threadsFromConfiguration({"threadnum=0"}, 6), 3U);
}

TEST(ThreadsTest, LaterLinesReplaceEarlierOnes) {
    EXPECT_EQ(threadsFromConfiguration({"threadnum=2", "threadnum=4"}, 8), 4U);
    EXPECT_EQ(threadsFromConfiguration({"threadnum=2", "threadnum=word"}, 8), 2U);
}

TEST(ThreadsTest, MoreThanProcessorsFallsBackToTheDerivedNumber) {
    EXPECT_EQ(threadsFromConfiguration({"threadnum=16"}, 8), 4U);
}

TEST(ThreadsTest, TheNumberIsCutTo16Bits) {
    EXPECT_EQ(threadsFromConfiguration({"threadnum=65537"}, 8), 1U);
}

TEST(ThreadsTest, OtherLinesAreNotRead) {
    EXPECT_EQ(threadsFromConfiguration({" threadnum=1", "threadnum=1=2", "threadnum=", "loglevel=3"}, 8), 4U);
}

TEST(ThreadsTest, TwoEqualSignsAreOneSeparator) {
    EXPECT_EQ(threadsFromConfiguration({"threadnum==1"}, 8), 1U);
}

}  // namespace
