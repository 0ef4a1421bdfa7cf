// What is kept of the names of records.
#include "libtarnnames/RecordWords.h"

#include <gtest/gtest.h>

using tarnnames::NameBook;
using tarnnames::RecordWordsCache;

TEST(RecordWords, LongNamesOfManyRecordsAreNotAllKept) {
    constexpr std::size_t kName = 100000;
    tarnmessage::FunctionTable announced;
    announced.add(7, {std::string(kName, 'n'), {}});
    NameBook book;
    book.attach(&announced);
    RecordWordsCache words(book);
    words.startFile("a");
    kernelmsg::PolicyNodeRecord node{};
    node.ext[1] = 7;
    for (node.perm = 0; node.perm < 1000; ++node.perm) {
        ASSERT_EQ(words.of(node).nameSpaces.front().size(), kName);
        ASSERT_LT(words.knownBytes(), RecordWordsCache::kMostBytes + 2 * kName);
    }
    EXPECT_GT(words.knownBytes(), kName);
}
