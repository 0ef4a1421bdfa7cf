// Class and permission names by their numbers.
#include "libtarnnames/Classes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using tarnnames::Classes;
using tarnnames::ProblemList;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char kText[] = R"({
    "file": {"value": 1, "perms": {"read": 1, "write": 2, "append": 2}, "parent": "object"},
    "dir": {"value": 2, "perms": {"read": 1}},
    "twin": {"value": 1, "perms": {"look": 1}},
    "bare": {}})";

Classes read(const std::string& text, ProblemList& problems) {
    Classes classes;
    static_cast<void>(classes.read(text, problems));
    return classes;
}

}  // namespace

TEST(Classes, NumbersGiveEveryNameTheyHave) {
    ProblemList problems;
    const Classes classes = read(kText, problems);
    EXPECT_THAT(problems.texts(), IsEmpty());
    EXPECT_THAT(classes.classNames(1), ElementsAre("file", "twin"));
    EXPECT_THAT(classes.classNames(2), ElementsAre("dir"));
    EXPECT_THAT(classes.classNames(0), ElementsAre("bare"));
    EXPECT_THAT(classes.classNames(9), IsEmpty());
    EXPECT_THAT(classes.permissionNames(1, 1), ElementsAre("read", "look"));
    EXPECT_THAT(classes.permissionNames(1, 2), ElementsAre("append", "write"));
    EXPECT_THAT(classes.permissionNames(2, 2), IsEmpty());
    EXPECT_THAT(classes.permissionNames(0, 0), IsEmpty());
}

TEST(Classes, NamesGiveTheirNumber) {
    ProblemList problems;
    const Classes classes = read(kText, problems);
    EXPECT_THAT(classes.classNumbers("dir"), ElementsAre(2U));
    EXPECT_THAT(classes.classNumbers("nothing"), IsEmpty());
}

TEST(Classes, UnsoundTextIsAProblemAndGivesNone) {
    for (const char* text : {"", "{", "[]", "7"}) {
        ProblemList problems;
        EXPECT_THAT(read(text, problems).all(), IsEmpty()) << text;
        EXPECT_THAT(problems.texts(), ElementsAre(HasSubstr("the class definitions are unsound")));
    }
    ProblemList problems;
    EXPECT_THAT(read(std::string(100000, '['), problems).all(), IsEmpty());
    EXPECT_EQ(problems.texts().size(), 1U);
}

TEST(Classes, UnsoundMembersAreSkippedAndTold) {
    ProblemList problems;
    const Classes classes =
        read(R"({"a": 1, "b": {"value": -1}, "c": {"value": 3, "perms": []}, "d": {"value": 4, "perms": {"x": "y"}}})",
             problems);
    EXPECT_THAT(
        problems.texts(),
        ElementsAre("class \"a\" is no object", "the value of class \"b\" is no 32-bit number",
                    "\"perms\" of class \"c\" is no object", "permission \"x\" of class \"d\" is no 32-bit number"));
    EXPECT_THAT(classes.classNames(3), ElementsAre("c"));
}
