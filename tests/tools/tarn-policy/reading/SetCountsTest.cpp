// What stat keeps of a set whose records all differ.
#include "reading/SetCounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::Pair;

class SetCountsTest : public testing::Test {
protected:
    // A file of records that have each a permission of their own, from `first` on.
    void count(const std::string& name, std::uint32_t first, std::uint32_t records) {
        counts_.onFile(name, {});
        for (std::uint32_t record = 0; record < records; ++record) {
            tarnmessage::PolicyRecordView view;
            view.node.perm = first + record;
            counts_.onPolicy(view);
        }
        tarnmessage::FileReport report;
        report.name = name;
        counts_.onFileEnd(report);
    }

    // The records that are summed up.
    std::uint64_t others() const {
        for (const auto& [name, records] : counts_.by(&CountRow::permission)) {
            if (name == SetCounts::kOthers) {
                return records;
            }
        }
        return 0;
    }
    std::uint64_t recordsInRows() const {
        std::uint64_t sum = 0;
        for (const CountRow& row : counts_.rows()) {
            sum += row.records;
        }
        return sum;
    }

    tarnnames::NameBook book_;
    SetCounts counts_{book_};
};

TEST_F(SetCountsTest, RowsOfAFileAreBounded) {
    count("a", 0, SetCounts::kMostRowsOfFile);
    EXPECT_EQ(counts_.rows().size(), SetCounts::kMostRowsOfFile);
    EXPECT_EQ(others(), 0U);
    count("b", 0, SetCounts::kMostRowsOfFile + 70);
    EXPECT_EQ(counts_.rows().size(), 2 * SetCounts::kMostRowsOfFile + 1);
    EXPECT_EQ(others(), 70U);
    EXPECT_EQ(counts_.records(), 2 * SetCounts::kMostRowsOfFile + 70);
    EXPECT_EQ(recordsInRows(), counts_.records());
}

TEST_F(SetCountsTest, RowsOfASetAreBoundedAndItsSumsStayExact) {
    constexpr std::uint32_t kFiles = 2 + SetCounts::kMostRows / SetCounts::kMostRowsOfFile;
    for (std::uint32_t file = 0; file < kFiles; ++file) {
        count(std::to_string(file), 0, SetCounts::kMostRowsOfFile);
    }
    EXPECT_EQ(counts_.rows().size(), SetCounts::kMostRows + 2) << "one for each of the last two files";
    EXPECT_EQ(counts_.rows().back().permission, SetCounts::kOthers);
    EXPECT_EQ(recordsInRows(), counts_.records());
    EXPECT_EQ(others(), 0U);
    EXPECT_EQ(counts_.by(&CountRow::permission).size(), SetCounts::kMostRowsOfFile);
    EXPECT_THAT(counts_.by(&CountRow::permission), testing::Each(Pair(testing::_, kFiles)));
    EXPECT_THAT(counts_.byFile(), testing::Each(Pair(testing::_, SetCounts::kMostRowsOfFile)));
}

TEST_F(SetCountsTest, NamesOfAColumnAreBounded) {
    for (std::uint32_t file = 0; file < 4; ++file) {
        count(std::to_string(file), file * SetCounts::kMostRowsOfFile, SetCounts::kMostRowsOfFile);
    }
    EXPECT_EQ(counts_.by(&CountRow::permission).size(), SetCounts::kMostNames + 1);
    EXPECT_EQ(others(), 4 * SetCounts::kMostRowsOfFile - SetCounts::kMostNames);
}

TEST_F(SetCountsTest, LongNamesAreCut) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {std::string(1000, 'n'), {}});
    book_.attach(&announced);
    tarnmessage::PolicyRecordView view;
    view.node.ext[1] = 7;
    counts_.onFile("a", {});
    counts_.onPolicy(view);
    counts_.onFileEnd({});
    EXPECT_EQ(counts_.rows().front().nameSpace, std::string(SetCounts::kMostNameBytes, 'n') + "... (745 more bytes)");
}

}  // namespace
