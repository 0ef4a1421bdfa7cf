// Rules that name thousands of labelled files: every side must get exactly what a look-up in the label manager's answer
// gives.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/FakeLabelManager.h"
#include "support/ManagerAccess.h"

namespace {

using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Request;

using Labels = std::map<std::string, std::vector<TARN_ID>>;

std::vector<std::uint64_t> wordsOf(const std::vector<TARN_ID>& ids) {
    std::vector<std::uint64_t> words;
    for (const TARN_ID& id : ids) {
        words.insert(words.end(), std::begin(id.uiWord), std::end(id.uiWord));
    }
    return words;
}

// Packages, because every name that does not begin with "/" is looked up under one kind. Names are random and short, so
// that many begin like others and many are unknown.
class ManyNames : public testing::Test {
protected:
    std::string name() {
        std::string text(random_() % 9 == 0 ? random_() % 60 : random_() % 4, '\0');
        for (char& character : text) {
            character = static_cast<char>("ab\0c"[random_() % 4]);
        }
        return text;
    }
    Labels labels(std::size_t count, std::size_t mostLabels) {
        Labels result;
        while (result.size() < count) {
            std::vector<TARN_ID>& ids = result[name() + std::to_string(random_() % count)];
            ids.resize(random_() % (mostLabels + 1));
            for (TARN_ID& id : ids) {
                id = TARN_ID{{random_(), random_(), random_()}};
            }
        }
        return result;
    }
    // Rules whose subjects are names of the list, and others.
    void addRules(const Labels& known, std::size_t count) {
        std::vector<std::string> names;
        for (const auto& [text, ids] : known) {
            names.push_back(text);
        }
        PolicyDb group;
        group.vecPolicy.resize(count);
        for (PolicyNode& rule : group.vecPolicy) {
            rule.bSubjectFlag = false;
            for (std::size_t index = random_() % 6; index > 0; --index) {
                rule.vecSubjectName.push_back(random_() % 5 == 0 ? name() : names[random_() % names.size()]);
            }
        }
        manager_.addPolicy("base", group);
    }
    // Parses, and compares every rule with look-ups in the map.
    void check(const Labels& known) {
        fake() = fakelabels::Fake{};
        fake().labels = [&known](const Request&, Answer& answer) {
            answer["subject_pkg"] = known;
            return 0;
        };
        ASSERT_EQ(manager_.parsePolicyData(), 0);
        for (const PolicyNode& rule : manager_.m_mapPolicy["base"].vecPolicy) {
            std::vector<TARN_ID> expected;
            for (const std::string& text : rule.vecSubjectName) {
                const auto found = known.find(text);
                if (found != known.end()) {
                    expected.insert(expected.end(), found->second.begin(), found->second.end());
                }
            }
            ASSERT_EQ(wordsOf(rule.vecSubjectId), wordsOf(expected));
        }
    }

    ManagerAccess manager_;
    std::mt19937_64 random_{7};
};

TEST_F(ManyNames, GiveTheLabelsOfTheAnswer) {
    for (const std::size_t count : {1U, 2U, 3U, 4U, 5U, 8U, 9U, 100U, 4096U, 5000U}) {
        const Labels known = labels(count, 1);
        addRules(known, 2000);
        check(known);
    }
}

TEST_F(ManyNames, MayHaveSeveralLabelsOrNone) {
    const Labels known = labels(3000, 4);
    addRules(known, 3000);
    check(known);
}

TEST_F(ManyNames, MayAllBeWithoutLabels) {
    const Labels known = labels(50, 0);
    addRules(known, 200);
    check(known);
}

TEST_F(ManyNames, AreComparedToTheLastByte) {
    Labels known;
    std::string text;
    for (std::uint64_t length = 0; length < 300; ++length) {
        known[text] = {TARN_ID{{length, 1, 1}}};
        text += 'x';
    }
    addRules(known, 3000);
    check(known);
}

}  // namespace
