#include "libtarnpolicydoc/Text.h"

#include <gtest/gtest.h>

#include "libtarnpolicydoc/Report.h"

namespace {

using namespace policydoc;

const std::string kReplaced = "\xEF\xBF\xBD";

TEST(TextTest, ValidTextStaysAsItIs) {
    for (const std::string text : {"", "plain", "h\xC3\xB6he", "\xE7\xAD\x96\xE7\x95\xA5", "\xF0\x9F\x94\x92", "\x7F",
                                   "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(validUtf8(text), text);
    }
}

TEST(TextTest, EveryOtherByteIsReplaced) {
    EXPECT_EQ(validUtf8("a\xFFz"), "a" + kReplaced + "z");
    EXPECT_EQ(validUtf8("\x80"), kReplaced);
    EXPECT_EQ(validUtf8("\xC3"), kReplaced) << "cut";
    EXPECT_EQ(validUtf8("\xE7\xAD"), kReplaced + kReplaced) << "cut";
    EXPECT_EQ(validUtf8("\xC0\xAF"), kReplaced + kReplaced) << "overlong";
    EXPECT_EQ(validUtf8("\xE0\x80\xAF"), kReplaced + kReplaced + kReplaced) << "overlong";
    EXPECT_EQ(validUtf8("\xED\xA0\x80"), kReplaced + kReplaced + kReplaced) << "surrogate";
    EXPECT_EQ(validUtf8("\xF4\x90\x80\x80"), kReplaced + kReplaced + kReplaced + kReplaced) << "beyond the last one";
    EXPECT_EQ(validUtf8("\xE7z"), kReplaced + "z") << "what follows is no part of it";
}

TEST(TextTest, NothingSpeaksToATerminal) {
    EXPECT_EQ(printable("a\x1B[31m\r\x7F"), "a\\u001b[31m\\u000d\\u007f");
    EXPECT_EQ(printable("\xC2\x9B"
                        "31m"),
              "\\u009b31m");
    EXPECT_EQ(printable("\x9B"), "\\x9b");
    EXPECT_EQ(printable("\xC2\xA0h\xC3\xB6he"), "\xC2\xA0h\xC3\xB6he");
    EXPECT_EQ(printable("a\nb\tc"), "a\\nb\\tc");
    EXPECT_EQ(printable("a\nb\tc", true), "a\nb\\tc");
    EXPECT_EQ(printable(std::string(1, '\0')), "\\u0000");
}

TEST(TextTest, ALongNameIsCutBetweenCharacters) {
    const std::string name(79, 'x');
    EXPECT_EQ(policydoc::quoted(name + "yz"), "\"" + name + "y...\"");
    EXPECT_EQ(policydoc::quoted(name + "\xC3\xB6"), "\"" + name + "...\"");
    EXPECT_EQ(policydoc::quoted(name.substr(1) + "\xC3\xB6z"), "\"" + name.substr(1) + "\xC3\xB6...\"");
    EXPECT_EQ(policydoc::quoted(std::string(90, '\xFF')), "\"" + std::string(80, '\xFF') + "...\"");
}

}  // namespace
