#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>

#include "securec.h"

namespace {

constexpr std::size_t kSize = 8;
// Larger than any object: nothing may be touched for it, so the size of the object doesn't matter.
constexpr std::size_t kTooLarge = SECUREC_MEM_MAX_LEN + 1;

// Eight bytes to work on between two guards that must stay.
class Block {
public:
    Block() : bytes_("<<<<ABCDEFGH>>>>") {}
    char* begin() { return bytes_.data() + kGuard; }
    std::string content() const { return bytes_.substr(kGuard, kSize); }
    bool guardsStand() const { return bytes_.substr(0, kGuard) == "<<<<" && bytes_.substr(kGuard + kSize) == ">>>>"; }

private:
    static constexpr std::size_t kGuard = 4;
    std::string bytes_;
};

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

TEST(Memcpy, CopiesCountBytesAndLeavesTheRest) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "12345", 5), 0);
    EXPECT_EQ(block.content(), "12345FGH");
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memcpy, FillsTheDestinationToItsLastByte) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "12345678", kSize), 0);
    EXPECT_EQ(block.content(), "12345678");
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memcpy, OfNothingChangesNothing) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "1", 0), 0);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memcpy, CopiesBytesAfterANul) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "1\0003", 3), 0);
    EXPECT_EQ(block.content(), std::string("1\0003DEFGH", kSize));
}

TEST(Memcpy, RefusesACapacityOfZeroWithoutTouchingAnything) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), 0, "1", 1), ERANGE);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memcpy, RefusesATooLargeCapacityWithoutTouchingAnything) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kTooLarge, "1", 1), ERANGE);
    EXPECT_EQ(memcpy_s(block.begin(), kTooLarge, nullptr, 1), ERANGE);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memcpy, TakesTheLargestCapacity) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), SECUREC_MEM_MAX_LEN, "1", 1), 0);
    EXPECT_EQ(block.content(), "1BCDEFGH");
}

TEST(Memcpy, RefusesANullDestination) {
    EXPECT_EQ(memcpy_s(nullptr, kSize, "1", 1), EINVAL);
}

TEST(Memcpy, LooksAtTheCapacityBeforeThePointers) {
    EXPECT_EQ(memcpy_s(nullptr, 0, nullptr, 1), ERANGE);
}

TEST(Memcpy, ClearsTheWholeDestinationForANullSource) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, nullptr, 1), 150);
    EXPECT_EQ(block.content(), zeros(kSize));
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memcpy, ClearsTheWholeDestinationWhenTheSourceDoesNotFit) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "123456789", kSize + 1), 162);
    EXPECT_EQ(block.content(), zeros(kSize));
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memcpy, ClearsNoMoreThanTheCapacityThatItWasTold) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), 3, "1234", 4), 162);
    EXPECT_EQ(block.content(), zeros(3) + "DEFGH");
}

TEST(Memcpy, RefusesACountThatWouldWrapAround) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, "1", static_cast<std::size_t>(-1)), 162);
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memcpy, ClearsTheBytesConcernedForAnOverlapFromBehind) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, block.begin() + 2, 3), 182);
    EXPECT_EQ(block.content(), zeros(3) + "DEFGH");
}

TEST(Memcpy, ClearsTheBytesConcernedForAnOverlapFromBefore) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin() + 2, kSize - 2, block.begin(), 3), 182);
    EXPECT_EQ(block.content(), "AB" + zeros(3) + "FGH");
}

TEST(Memcpy, TakesNeighboursThatDoNotOverlap) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, block.begin() + 3, 3), 0);
    EXPECT_EQ(block.content(), "DEFDEFGH");
    EXPECT_EQ(memcpy_s(block.begin() + 4, kSize - 4, block.begin(), 4), 0);
    EXPECT_EQ(block.content(), "DEFDDEFD");
}

TEST(Memcpy, OfABlockOntoItselfIsNoOverlap) {
    Block block;
    EXPECT_EQ(memcpy_s(block.begin(), kSize, block.begin(), kSize), 0);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memset, SetsCountBytesAndLeavesTheRest) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kSize, 'x', 3), 0);
    EXPECT_EQ(block.content(), "xxxDEFGH");
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memset, FillsTheDestinationToItsLastByte) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kSize, 0, kSize), 0);
    EXPECT_EQ(block.content(), zeros(kSize));
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memset, OfNothingChangesNothing) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kSize, 0, 0), 0);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memset, SetsTheLowByteOfTheValue) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kSize, 0x158, 1), 0);
    EXPECT_EQ(block.content(), "XBCDEFGH");
}

TEST(Memset, RefusesACapacityOfZeroWithoutTouchingAnything) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), 0, 0, 1), ERANGE);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memset, RefusesATooLargeCapacityWithoutTouchingAnything) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kTooLarge, 0, 1), ERANGE);
    EXPECT_EQ(block.content(), "ABCDEFGH");
}

TEST(Memset, RefusesANullDestination) {
    EXPECT_EQ(memset_s(nullptr, kSize, 0, 1), EINVAL);
}

TEST(Memset, LooksAtTheCapacityBeforeThePointer) {
    EXPECT_EQ(memset_s(nullptr, 0, 0, 1), ERANGE);
}

TEST(Memset, SetsTheWholeDestinationWhenTheCountIsTooLarge) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), kSize, 'x', kSize + 1), 162);
    EXPECT_EQ(block.content(), std::string(kSize, 'x'));
    EXPECT_TRUE(block.guardsStand());
}

TEST(Memset, SetsNoMoreThanTheCapacityThatItWasTold) {
    Block block;
    EXPECT_EQ(memset_s(block.begin(), 3, 'x', static_cast<std::size_t>(-1)), 162);
    EXPECT_EQ(block.content(), "xxxDEFGH");
}

}  // namespace
