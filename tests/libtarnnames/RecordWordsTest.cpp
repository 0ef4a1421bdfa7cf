// What is kept of the names of records, and how often they are looked up.
#include "libtarnnames/RecordWords.h"

#include <gtest/gtest.h>

#include "support/Files.h"

using tarnnames::NameBook;
using tarnnames::RecordWordsCache;

TEST(RecordWords, LongNamesOfManyRecordsAreNotAllKept) {
    constexpr std::size_t kName = 100000;
    testfiles::makeDirectories("/etc/tarn/policydata");
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", "{\"" + std::string(kName, 'c') + "\": {\"value\": 7}}");
    NameBook book;
    std::vector<std::string> problems;
    book.readSideFiles("/etc/tarn/policydata", "", problems);
    RecordWordsCache words(book);
    words.startFile("a");
    kernelmsg::PolicyNodeRecord node{};
    node.permClass = 7;
    for (node.perm = 0; node.perm < 1000; ++node.perm) {
        ASSERT_EQ(words.of(node).classes.front().size(), kName);
        ASSERT_LT(words.knownBytes(), RecordWordsCache::kMostBytes + 2 * kName);
    }
    EXPECT_GT(words.knownBytes(), kName);
}

// Records that take turns between two numbers with very many names.
TEST(RecordWords, NamesOfANumberAreLookedUpOnceForManyRecords) {
    constexpr std::uint32_t kNames = 1000;
    constexpr std::uint32_t kRecords = 10000;
    tarnmessage::FunctionTable announced;
    for (std::uint32_t name = 0; name < kNames; ++name) {
        announced.add(5 + name % 2, {"n" + std::to_string(name), {}});
    }
    NameBook book;
    book.attach(&announced);
    RecordWordsCache words(book);
    for (const char* file : {"base_0_n998_g_0", "base_0_n998_g_1"}) {
        words.startFile(file);
        kernelmsg::PolicyNodeRecord node{};
        for (node.perm = 0; node.perm < kRecords; ++node.perm) {
            node.ext[1] = 5 + node.perm % 2;
            const tarnnames::RecordWords& found = words.of(node);
            ASSERT_EQ(found.nameSpaces.size(), kNames / 2);
            ASSERT_EQ(found.groups.size(), node.ext[1] == 5 ? 1U : 0U) << "the last name of 5 stands in the file name";
        }
    }
    EXPECT_LT(words.lookups(), 20U);
}

TEST(RecordWords, NamesThatAreAnnouncedLaterAreThere) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {"net", {}});
    NameBook book;
    book.attach(&announced);
    RecordWordsCache words(book);
    kernelmsg::PolicyNodeRecord node{};
    node.ext[1] = 7;
    words.startFile("a");
    EXPECT_EQ(words.of(node).nameSpaces.size(), 1U);
    announced.add(7, {"twin", {}});
    words.startFile("b");
    EXPECT_EQ(words.of(node).nameSpaces.size(), 2U);
}
