// The search for equal records, in memory and with pieces on disk.
#include "reading/DuplicateSearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/PeakMemory.h"

namespace {

constexpr std::size_t kLarge = std::size_t{16} << 20U;  // bytes
constexpr std::size_t kSmall = std::size_t{64} << 10U;  // less than the records of the last test need

using Place = DuplicateSearch::Place;

std::vector<std::pair<std::uint32_t, std::uint32_t>> search(const std::vector<std::string>& records, std::size_t most) {
    DuplicateSearch duplicates(most);
    for (std::size_t index = 0; index < records.size(); ++index) {
        duplicates.add(records[index], static_cast<std::uint32_t>(index), 7);
    }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> found;
    duplicates.finish(
        [&](const Place& place, std::string& bytes) {
            bytes = records[place.file];
            return true;
        },
        [&](const Place& first, const Place& again) {
            EXPECT_EQ(first.offset, 7U);
            EXPECT_EQ(again.length, records[again.file].size());
            found.emplace_back(first.file, again.file);
        });
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace

TEST(DuplicateSearch, EachLaterRecordIsReportedWithTheFirst) {
    for (const std::size_t most : {kLarge, kSmall}) {
        EXPECT_THAT(search({"a", "b", "a", "c", "a", "b"}, most),
                    testing::ElementsAre(testing::Pair(0, 2), testing::Pair(0, 4), testing::Pair(1, 5)))
            << most;
    }
}

TEST(DuplicateSearch, RecordsThatDifferInAnyByteAreTwo) {
    const std::string record(100, 'x');
    std::vector<std::string> records{record, record + '\0', ""};
    for (std::size_t byte = 0; byte < record.size(); ++byte) {
        records.push_back(record);
        records.back()[byte] = 'y';
    }
    EXPECT_THAT(search(records, kLarge), testing::IsEmpty());
    EXPECT_THAT(search(records, kSmall), testing::IsEmpty());
}

// What `read` gives the place that was changed; -1 where none was noticed. No more than a few places are looked at.
namespace {
int changedPlace(const DuplicateSearch::Read& read) {
    DuplicateSearch duplicates(kSmall);
    for (std::uint32_t file = 0; file < 10000; ++file) {
        duplicates.add("same", file, 7);
    }
    int reads = 0;
    int reports = 0;
    try {
        duplicates.finish(
            [&](const Place& place, std::string& bytes) {
                ++reads;
                return read(place, bytes);
            },
            [&](const Place&, const Place&) { ++reports; });
    } catch (const DuplicateSearch::Changed& changed) {
        EXPECT_LE(reads, 4);
        return static_cast<int>(changed.place.file);
    }
    EXPECT_EQ(reports, 9999);
    EXPECT_EQ(reads, 10000) << "the first one is read once";
    return -1;
}
}  // namespace

TEST(DuplicateSearch, EveryRecordIsReadOnce) {
    EXPECT_EQ(changedPlace([](const Place&, std::string& bytes) {
                  bytes = "same";
                  return true;
              }),
              -1);
}

TEST(DuplicateSearch, OtherBytesThanWereAddedEndIt) {
    for (const char* other : {"othr", "longer", ""}) {
        EXPECT_EQ(changedPlace([&](const Place& place, std::string& bytes) {
                      bytes = place.file == 2 ? other : "same";
                      return true;
                  }),
                  2)
            << other;
        EXPECT_EQ(changedPlace([&](const Place&, std::string& bytes) {
                      bytes = other;
                      return true;
                  }),
                  0)
            << other;
    }
}

TEST(DuplicateSearch, BytesThatCanNotBeReadAnyMoreEndIt) {
    EXPECT_EQ(changedPlace([](const Place& place, std::string& bytes) {
                  bytes = "same";
                  return place.file != 3;
              }),
              3);
}

TEST(DuplicateSearch, FindsTheSameWithAndWithoutDisk) {
    std::mt19937 random(4713);
    std::vector<std::string> records;
    for (int index = 0; index < 20000; ++index) {
        records.push_back(std::to_string(random() % 15000));
    }
    const auto inMemory = search(records, kLarge);
    EXPECT_GT(inMemory.size(), 5000U);
    EXPECT_EQ(search(records, kSmall), inMemory);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory for a while
// Of a million records ten times the memory is kept.
TEST(DuplicateSearch, TakesNoMoreMemoryThanItMay) {
    constexpr std::size_t kMemory = std::size_t{2800} << 10U;
    constexpr std::uint32_t kRecords = 1000000;
    const std::size_t growth = peakmemory::growthDuring([] {
        DuplicateSearch duplicates(kMemory);
        for (std::uint32_t file = 0; file < kRecords; ++file) {
            duplicates.add(std::to_string(file / 2), file, 7);
        }
        std::uint32_t pairs = 0;
        duplicates.finish(
            [](const Place& place, std::string& bytes) {
                bytes = std::to_string(place.file / 2);
                return true;
            },
            [&](const Place&, const Place&) { ++pairs; });
        EXPECT_EQ(pairs, kRecords / 2);
    });
    EXPECT_GT(growth, kMemory / 2);
    EXPECT_LT(growth, kMemory * 2) << "a megabyte is buffered of what is written";
}
#endif
