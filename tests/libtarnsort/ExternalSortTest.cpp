// Whatever the memory, the records come back in the order in which std::sort puts them; temporary files leave no trace.
#include "libtarnsort/ExternalSort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/PeakMemory.h"

namespace {

using tarnsort::ExternalSort;
using tarnsort::SortFailure;
using tarnsort::SortLimits;
using testing::HasSubstr;
using Records = std::vector<std::string>;

constexpr char kFolder[] = "/etc/tarn/sort";
constexpr std::size_t kAmple = std::size_t{16} << 20U;

Records sorted(const Records& records, std::size_t memory, const std::string& folder = kFolder) {
    SortLimits limits;
    limits.memoryBytes = memory;
    limits.folder = folder;
    ExternalSort sort(limits);
    for (const std::string& record : records) {
        sort.add(record);
    }
    sort.finish();
    EXPECT_EQ(sort.records(), records.size());
    Records result;
    for (std::string_view record; sort.next(record);) {
        result.emplace_back(record);
    }
    return result;
}

Records bySorting(Records records) {
    std::sort(records.begin(), records.end());
    return records;
}

// Lengths of 0 to `longest`, few different bytes: common starts, continuations and equal records are frequent.
Records randomRecords(std::size_t count, std::size_t longest, unsigned int differentBytes) {
    std::mt19937 engine(static_cast<unsigned int>(count + longest));
    Records records(count);
    for (std::string& record : records) {
        record.resize(engine() % (longest + 1));
        for (char& byte : record) {
            byte = static_cast<char>(0xFFU - engine() % differentBytes * 0x11U);
        }
    }
    return records;
}

class ExternalSortTest : public testing::Test {
protected:
    void SetUp() override { testfiles::makeDirectories(kFolder); }
};

TEST_F(ExternalSortTest, NoRecordsGiveNone) {
    EXPECT_EQ(sorted({}, kAmple), Records{});
}

TEST_F(ExternalSortTest, OrdersByUnsignedBytesAndShortBeforeLong) {
    const std::string zero(1, '\0');
    const Records expected{"", zero, zero + zero, "a", "a" + zero, "ab", "b", "\x80", "\xff"};
    Records shuffled = expected;
    std::reverse(shuffled.begin(), shuffled.end());
    EXPECT_EQ(sorted(shuffled, kAmple), expected);
}

TEST_F(ExternalSortTest, KeepsEqualRecords) {
    EXPECT_EQ(sorted({"b", "a", "b", "", "a", ""}, kAmple), (Records{"", "", "a", "a", "b", "b"}));
}

TEST_F(ExternalSortTest, RecordsThatDifferLateAreOrdered) {
    const std::string start(200, 'x');
    Records records;
    for (int i = 99; i >= 0; --i) {
        records.push_back(start + std::to_string(i + 100));
    }
    EXPECT_EQ(sorted(records, kAmple), bySorting(records));
}

TEST_F(ExternalSortTest, RecordsThatEndInTheWordThatSortsThemAreOrdered) {
    Records records;
    for (std::size_t length = 0; length < 100; ++length) {
        records.insert(records.begin(), std::string(length, '\0'));
    }
    EXPECT_EQ(sorted(records, kAmple), bySorting(records));
}

TEST_F(ExternalSortTest, AnyMemoryGivesTheSameOrder) {
    const Records records = randomRecords(20000, 40, 3);
    const Records expected = bySorting(records);
    for (const std::size_t memory : {kAmple, std::size_t{400000}, std::size_t{65536}, std::size_t{9000}}) {
        EXPECT_TRUE(sorted(records, memory) == expected) << memory << " bytes";
    }
}

// Each reader of a run needs 4 KiB at least: with 9,000 bytes there are two at a time, and about ninety runs.
TEST_F(ExternalSortTest, MoreRunsThanReadersAreMergedInSeveralPasses) {
    const Records records = randomRecords(20000, 40, 15);
    EXPECT_TRUE(sorted(records, 9000) == bySorting(records));
}

TEST_F(ExternalSortTest, RecordsLargerThanTheLeastBufferAreMerged) {
    const Records records = randomRecords(300, 8000, 2);
    EXPECT_TRUE(sorted(records, 65536) == bySorting(records));
}

TEST_F(ExternalSortTest, ARecordOfMoreThanItsShareIsRefused) {
    try {
        static_cast<void>(sorted({std::string(8193, 'x')}, 65536));
        FAIL() << "took it";
    } catch (const SortFailure& failure) {
        EXPECT_STREQ(failure.what(), "sort a record of 8193 bytes: only 8192 can be sorted");
    }
    EXPECT_EQ(sorted({std::string(8192, 'x')}, 65536).size(), 1U);
}

TEST_F(ExternalSortTest, WhatFitsIntoMemoryNeedsNoFolder) {
    EXPECT_EQ(sorted({"b", "a"}, kAmple, "/etc/tarn/nowhere"), (Records{"a", "b"}));
}

TEST_F(ExternalSortTest, AMissingFolderIsNamed) {
    try {
        static_cast<void>(sorted(randomRecords(2000, 40, 3), 9000, "/etc/tarn/nowhere"));
        FAIL() << "sorted without a folder";
    } catch (const SortFailure& failure) {
        EXPECT_STREQ(failure.what(), "make a temporary file in /etc/tarn/nowhere: No such file or directory");
        EXPECT_THAT(failure.advice(), HasSubstr("TMPDIR"));
    }
}

TEST_F(ExternalSortTest, TheNameOfAFolderIsEscaped) {
    try {
        static_cast<void>(sorted(randomRecords(2000, 40, 3), 9000, "/etc/tarn/no\n\x1bwhere"));
        FAIL() << "sorted without a folder";
    } catch (const SortFailure& failure) {
        EXPECT_THAT(failure.tried(), testing::EndsWith(R"(in /etc/tarn/no\x0a\x1bwhere)"));
    }
}

TEST_F(ExternalSortTest, AFullFolderIsNamed) {
    if (mount("tmpfs", kFolder, "tmpfs", 0, "size=256k") != 0) {
        GTEST_SKIP() << "no file system can be mounted here that fills up";
    }
    try {
        static_cast<void>(sorted(randomRecords(50000, 40, 3), 65536));
        ADD_FAILURE() << "wrote more than there is room for";
    } catch (const SortFailure& failure) {
        EXPECT_STREQ(failure.what(), "write a temporary file in /etc/tarn/sort: No space left on device");
    }
    EXPECT_EQ(umount(kFolder), 0) << "a file is still open";
}

TEST_F(ExternalSortTest, ATemporaryFileHasNoName) {
    SortLimits limits;
    limits.memoryBytes = 65536;
    limits.folder = kFolder;
    const int before = testfiles::openDescriptors();
    {
        ExternalSort sort(limits);
        for (int i = 0; i < 20000; ++i) {
            sort.add("0123456789");
        }
        EXPECT_GT(testfiles::openDescriptors(), before) << "nothing was written";
        EXPECT_EQ(testfiles::list(kFolder), Records{});
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST_F(ExternalSortTest, TheFolderIsThatOfTheEnvironment) {
    ASSERT_EQ(setenv("TMPDIR", "/etc/tarn/elsewhere", 1), 0);
    EXPECT_EQ(SortLimits().folder, "/etc/tarn/elsewhere");
    ASSERT_EQ(setenv("TMPDIR", "", 1), 0);
    EXPECT_EQ(SortLimits().folder, "/tmp");
    ASSERT_EQ(unsetenv("TMPDIR"), 0);
    EXPECT_EQ(SortLimits().folder, "/tmp");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory for a while
// Ten times the memory.
TEST_F(ExternalSortTest, TakesNoMoreMemoryThanItMay) {
    constexpr std::size_t kMemory = std::size_t{4} << 20U;
    const std::size_t growth = peakmemory::growthDuring([] {
        SortLimits limits;
        limits.memoryBytes = kMemory;
        limits.folder = kFolder;
        ExternalSort sort(limits);
        std::mt19937 engine(1);
        std::string record(100, 'x');
        for (int i = 0; i < 400000; ++i) {
            record.replace(0, 10, std::to_string(1000000000U + engine() % 1000000000U));
            sort.add(record);
        }
        sort.finish();
        std::string last;
        for (std::string_view next; sort.next(next);) {
            ASSERT_LE(last, next);
            last = next;
        }
    });
    EXPECT_GT(growth, kMemory / 2);
    EXPECT_LT(growth, kMemory * 2) << "a megabyte is buffered of what is written";
}
#endif

}  // namespace
