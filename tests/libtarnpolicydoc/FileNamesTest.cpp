#include "libtarnpolicydoc/FileNames.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "libtarnpolicysync/Paths.h"

namespace {

using namespace policydoc;

// The plain way: every name of every slice.
class PlainClaims {
public:
    explicit PlainClaims(unsigned int threads) : threads_(threads) {}

    bool claim(std::size_t owner, const std::string& key, const std::string& nameSpace, const std::string& group) {
        bool meets = false;
        for (unsigned int slice = 0; slice < threads_; ++slice) {
            const std::string name =
                paths::policyFileName(paths::slicePrefix(paths::keyStem(key), slice), nameSpace, group, 0);
            const auto [entry, added] = owners_.emplace(name, owner);
            meets = meets || (!added && entry->second != owner);
        }
        return meets;
    }

private:
    unsigned int threads_;
    std::map<std::string, std::size_t> owners_;
};

struct Names {
    std::string key;
    std::string nameSpace;
    std::string group;
};

std::string joined(const std::vector<std::string>& words, std::size_t first, std::size_t end) {
    std::string text;
    for (std::size_t i = first; i < end; ++i) {
        text += (i == first ? "" : "_") + words[i];
    }
    return text;
}

// A few words in a row, of which one is taken for the slice's number: the same row can be cut in several ways.
Names randomNames(std::mt19937& random) {
    static constexpr const char* kWords[] = {"a", "0", "1", "01"};
    std::vector<std::string> words;
    for (auto count = 4 + random() % 3; count > 0; --count) {
        words.emplace_back(kWords[random() % std::size(kWords)]);
    }
    const std::size_t slice = 1 + random() % (words.size() - 3);
    const std::size_t group = slice + 2 + random() % (words.size() - slice - 2);
    return {joined(words, 0, slice), joined(words, slice + 1, group), joined(words, group, words.size())};
}

TEST(FileNamesTest, FindsWhatThePlainWayFinds) {
    std::size_t met = 0;
    for (unsigned int seed = 0; seed < 400; ++seed) {
        std::mt19937 random(seed);
        const auto threads = static_cast<unsigned int>(1 + random() % 14);
        FileNameClaims claims(threads);
        PlainClaims plain(threads);
        for (std::size_t owner = 0; owner < 40; ++owner) {
            const auto [key, nameSpace, group] = randomNames(random);
            const bool expected = plain.claim(owner, key, nameSpace, group);
            EXPECT_EQ(claims.holder(key, nameSpace, group).has_value(), expected)
                << seed << ": " << key << " " << nameSpace << " " << group;
            EXPECT_EQ(claims.claim(owner, key, nameSpace, group).has_value(), expected);
            met += expected ? 1 : 0;
        }
    }
    EXPECT_GT(met, 100U) << "the names do meet";
}

TEST(FileNamesTest, AnOwnerMeetsItselfNowhere) {
    FileNameClaims claims(4);
    EXPECT_FALSE(claims.claim(7, "k", "n", "g"));
    EXPECT_FALSE(claims.claim(7, "k", "n", "g"));
    EXPECT_EQ(claims.claim(8, "k", "n", "g"), 7U);
}

// 65,535 threads times 20,000 series are more names than fit into memory.
TEST(FileNamesTest, TheNumberOfThreadsCostsNothing) {
    FileNameClaims claims(65535);
    for (std::size_t i = 0; i < 20000; ++i) {
        EXPECT_FALSE(claims.claim(i, "key" + std::to_string(i), "net", "g"));
    }
    EXPECT_EQ(claims.claim(20000, "key5_65534_net_g", "1", "x"), std::nullopt);
    EXPECT_EQ(claims.claim(20001, "key7", "net", "g"), 7U);
}

}  // namespace
