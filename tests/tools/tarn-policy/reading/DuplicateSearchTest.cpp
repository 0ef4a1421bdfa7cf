// The search for equal records, in memory and with pieces on disk.
#include "reading/DuplicateSearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

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
        [&](const Place& first, const Place& again) { return records[first.file] == records[again.file]; },
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

TEST(DuplicateSearch, EqualChecksumsAloneAreNoDuplicates) {
    DuplicateSearch duplicates(kSmall);
    duplicates.add("a", 0, 0);
    duplicates.add("a", 1, 0);
    duplicates.add("a", 2, 0);
    int reports = 0;
    duplicates.finish([](const Place&, const Place&) { return false; }, [&](const Place&, const Place&) { ++reports; });
    EXPECT_EQ(reports, 0) << "the bytes decide";
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
