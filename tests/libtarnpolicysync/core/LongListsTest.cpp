// The lists that may grow long, names to label and functions of a namespace: what stands in the table must be what a
// search before each append would leave, also when somebody else has changed the table in between.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/ManagerAccess.h"

namespace {

using List = std::vector<std::string>;

// One of the two lists, and the call that grows it.
struct Table {
    const char* label;
    List& (*list)(ManagerAccess&);
    void (*add)(ManagerAccess&, const std::string&);
};

List& filesOf(ManagerAccess& manager) {
    return manager.m_mapFileToGetLabel["subject_file"];
}
void addFile(ManagerAccess& manager, const std::string& name) {
    EXPECT_EQ(manager.setFileToGetLabelMap("subject_file", name), 0);
}
List& functionsOf(ManagerAccess& manager) {
    return manager.m_mapNamespaceFunc["net"];
}
void addFunction(ManagerAccess& manager, const std::string& name) {
    const std::size_t colon = name.find(':');
    EXPECT_EQ(manager.setNamespaceFuncInfo("net", name.substr(0, colon), name.substr(colon + 1)), 0);
}

// Both an entry "module:function" and a name to label.
std::string name(std::size_t number) {
    return "mod:name" + std::to_string(number);
}

List names(std::size_t first, std::size_t count) {
    List result;
    for (std::size_t number = first; number < first + count; ++number) {
        result.push_back(name(number));
    }
    return result;
}

class LongLists : public testing::TestWithParam<Table> {
protected:
    List& list() { return GetParam().list(manager_); }
    void add(const std::string& text) { GetParam().add(manager_, text); }
    void add(const List& texts) {
        for (const std::string& text : texts) {
            add(text);
        }
    }

    ManagerAccess manager_;
};

TEST_P(LongLists, KeepEachNameOnceInTheOrderOfItsFirstRegistration) {
    add(names(0, 1000));
    add(names(0, 1000));
    EXPECT_EQ(list(), names(0, 1000));
    add(name(1000));
    EXPECT_EQ(list(), names(0, 1001));
}

TEST_P(LongLists, NoticeDuplicatesAtEveryLength) {
    for (std::size_t length = 1; length <= 200; ++length) {
        add(name(length - 1));
        add(name(0));
        add(name(length / 2));
        add(name(length - 1));
        ASSERT_EQ(list(), names(0, length));
    }
}

TEST_P(LongLists, KnowWhatSomebodyElseAppended) {
    add(names(0, 300));
    for (const std::string& text : names(300, 300)) {
        list().push_back(text);
    }
    add(names(0, 600));
    EXPECT_EQ(list(), names(0, 600));
}

TEST_P(LongLists, KnowWhatSomebodyElseFilledIn) {
    list() = names(0, 500);
    add(names(0, 500));
    EXPECT_EQ(list(), names(0, 500));
}

TEST_P(LongLists, KnowAListThatWasReplacedByOneOfTheSameLength) {
    add(names(0, 300));
    add(name(0));
    const List other = names(1000, 300);
    std::copy(other.begin(), other.end(), list().begin());  // in the same storage
    add(other);
    EXPECT_EQ(list(), other);
    add(name(0));
    EXPECT_EQ(list().back(), name(0));
}

TEST_P(LongLists, KnowAListOfTheSameEndsThatWasReplacedBetween) {
    add(names(0, 300));
    add(name(0));
    List other = names(1000, 300);
    other.front() = name(0);
    other.back() = name(299);
    std::copy(other.begin(), other.end(), list().begin());
    add(other);
    EXPECT_EQ(list(), other);
}

TEST_P(LongLists, KnowThatNamesWereRemoved) {
    add(names(0, 300));
    list().erase(list().begin() + 100);
    add(name(100));
    EXPECT_EQ(list().size(), 300U);
    EXPECT_EQ(list().back(), name(100));
}

TEST_P(LongLists, KnowAListThatWasSortedAnew) {
    add(names(0, 300));
    std::reverse(list().begin(), list().end());
    const List expected = list();
    add(names(0, 300));
    EXPECT_EQ(list(), expected);
}

TEST_P(LongLists, StartAnewAfterTheyWereEmptied) {
    add(names(0, 300));
    manager_.clearAllPolicy();
    add(names(200, 300));
    EXPECT_EQ(list(), names(200, 300));
    list().clear();
    add(names(100, 300));
    EXPECT_EQ(list(), names(100, 300));
}

TEST_P(LongLists, OneStringThatWasOverwrittenIsNoticedInTime) {
    add(names(0, 100));
    add(name(0));
    list()[37] = "mod:other";
    for (int call = 0; call < 100; ++call) {
        add(name(0));  // known: only looks
    }
    add("mod:other");
    EXPECT_EQ(list().size(), 100U);
    add(name(37));
    EXPECT_EQ(list().back(), name(37));
}

TEST_P(LongLists, GrowAsByASearchWhateverHappensBetween) {
    std::mt19937 random(5);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    List expected;
    const auto search = [&](const std::string& text) {
        if (std::find(expected.begin(), expected.end(), text) == expected.end()) {
            expected.push_back(text);
        }
    };
    for (int step = 0; step < 20000; ++step) {
        const std::string text = name(below(900));
        switch (below(200)) {
            case 0:
                list().push_back(text);
                expected.push_back(text);
                break;
            case 1:
                if (!expected.empty()) {
                    list().pop_back();
                    expected.pop_back();
                }
                break;
            case 2:
                if (below(20) == 0) {
                    list() = names(below(1000), 150);
                    expected = list();
                }
                break;
            case 3:
                if (below(20) == 0) {
                    manager_.clearAllPolicy();
                    expected.clear();
                }
                break;
            default:
                add(text);
                search(text);
        }
        ASSERT_EQ(list().size(), expected.size()) << step;
    }
    EXPECT_EQ(list(), expected);
}

INSTANTIATE_TEST_SUITE_P(Of, LongLists,
                         testing::Values(Table{"FilesToLabel", filesOf, addFile},
                                         Table{"Functions", functionsOf, addFunction}),
                         [](const auto& table) { return std::string(table.param.label); });

TEST(LongListsOfFuncinfo, AreLoadedOnceBesideWhatIsRegistered) {
    std::string line = "net#";
    for (const std::string& entry : names(100, 400)) {
        line += entry + ",";
    }
    testfiles::write("/etc/tarn/funcinfo", line + "\n" + line + "\n");
    ManagerAccess manager;
    for (const std::string& text : names(0, 200)) {
        addFunction(manager, text);
    }
    manager.initNamespaceFuncInfo();
    for (const std::string& text : names(0, 500)) {
        addFunction(manager, text);
    }
    EXPECT_EQ(functionsOf(manager), names(0, 500));
}

TEST(LongListsOfKeys, AreApartFromEachOther) {
    ManagerAccess manager;
    for (const std::string& text : names(0, 300)) {
        manager.setFileToGetLabelMap("subject_file", text);
        manager.setFileToGetLabelMap("object_file", text);
        manager.setNamespaceFuncInfo("net", "mod", text);
        manager.setNamespaceFuncInfo("other", "mod", text);
    }
    EXPECT_EQ(manager.m_mapFileToGetLabel["object_file"], names(0, 300));
    EXPECT_EQ(manager.m_mapNamespaceFunc["other"].size(), 300U);
}

}  // namespace
