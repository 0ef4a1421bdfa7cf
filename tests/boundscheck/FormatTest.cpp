#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <string>

#include "securec.h"

namespace {

constexpr std::size_t kCapacity = 8;
constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);

// A destination with a guard behind it, in which every byte is known beforehand.
struct Destination {
    std::array<char, kCapacity + 4> bytes{};
    Destination() { bytes.fill('?'); }
    std::string text() const { return bytes.data(); }
    bool guardStands() const { return std::string(bytes.data() + kCapacity, 4) == "????"; }
    bool untouched() const { return std::string(bytes.data(), bytes.size()) == std::string(bytes.size(), '?'); }
};

int format(char* dest, std::size_t destMax, std::size_t count, const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const int result = vsnprintf_s(dest, destMax, count, text, arguments);
    va_end(arguments);
    return result;
}

TEST(Vsnprintf, GivesTheLengthOfATextThatFits) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, "%s=%d", "ab", 42), 5);
    EXPECT_EQ(dest.text(), "ab=42");
    EXPECT_TRUE(dest.guardStands());
}

TEST(Vsnprintf, FillsTheDestinationUpToItsNul) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, "%s", "1234567"), 7);
    EXPECT_EQ(dest.text(), "1234567");
    EXPECT_TRUE(dest.guardStands());
}

TEST(Vsnprintf, KeepsTheCutTextAndSaysSoWhenTheCountLeavesRoomForTheNul) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, "%s", "12345678"), -1);
    EXPECT_EQ(dest.text(), "1234567");
    EXPECT_TRUE(dest.guardStands());
}

TEST(Vsnprintf, CutsAtASmallerCount) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, 3, "%s", "123456"), -1);
    EXPECT_EQ(dest.text(), "123");
}

TEST(Vsnprintf, TakesATextOfExactlyTheCount) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, 3, "%s", "123"), 3);
    EXPECT_EQ(dest.text(), "123");
}

TEST(Vsnprintf, WithACountOfZeroKeepsNothing) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, 0, "%s", "1"), -1);
    EXPECT_EQ(dest.text(), "");
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, 0, "%s", ""), 0);
}

TEST(Vsnprintf, LeavesAnEmptyTextWhenTheCountIsNoBoundAndTheTextDoesNotFit) {
    for (const std::size_t count : {kCapacity, kCapacity + 1, kUnlimited}) {
        Destination dest;
        EXPECT_EQ(format(dest.bytes.data(), kCapacity, count, "%s", "12345678"), -1);
        EXPECT_EQ(dest.text(), "");
        EXPECT_TRUE(dest.guardStands());
    }
}

TEST(Vsnprintf, TakesATextThatFitsWithoutABound) {
    for (const std::size_t count : {kCapacity, kUnlimited}) {
        Destination dest;
        EXPECT_EQ(format(dest.bytes.data(), kCapacity, count, "%s", "1234567"), 7);
        EXPECT_EQ(dest.text(), "1234567");
    }
}

TEST(Vsnprintf, FormatsAnEmptyText) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, "%s", ""), 0);
    EXPECT_EQ(dest.text(), "");
}

TEST(Vsnprintf, RefusesANullDestination) {
    EXPECT_EQ(format(nullptr, kCapacity, kCapacity - 1, "%s", "1"), -1);
}

TEST(Vsnprintf, RefusesACapacityOfZeroWithoutTouchingAnything) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), 0, 0, "%s", "1"), -1);
    EXPECT_TRUE(dest.untouched());
}

TEST(Vsnprintf, RefusesATooLargeCapacityWithoutTouchingAnything) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), SECUREC_MEM_MAX_LEN + 1, 1, "%s", "1"), -1);
    EXPECT_TRUE(dest.untouched());
}

TEST(Vsnprintf, EmptiesTheDestinationForANullFormat) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, nullptr), -1);
    EXPECT_EQ(dest.text(), "");
}

TEST(Vsnprintf, EmptiesTheDestinationForACountBeyondTheLargestCapacity) {
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, SECUREC_MEM_MAX_LEN + 1, "%s", "1"), -1);
    EXPECT_EQ(dest.text(), "");
}

TEST(Vsnprintf, EmptiesTheDestinationWhenTheTextCannotBeFormed) {
    // No multibyte character of the "C" locale stands for this one.
    Destination dest;
    EXPECT_EQ(format(dest.bytes.data(), kCapacity, kCapacity - 1, "ab%ls", L"\x4e2d"), -1);
    EXPECT_EQ(dest.text(), "");
}

TEST(Vsnprintf, CutsAtTheBoundOfALogLine) {
    constexpr std::size_t kLogLine = 131072;
    std::string dest(kLogLine + 1, '?');
    const std::string text(kLogLine, 'x');
    EXPECT_EQ(format(dest.data(), kLogLine, kLogLine - 1, "%s", text.c_str()), -1);
    EXPECT_EQ(dest.substr(0, kLogLine - 1), text.substr(1));
    EXPECT_EQ(dest[kLogLine - 1], '\0');
    EXPECT_EQ(dest[kLogLine], '?');
}

}  // namespace
