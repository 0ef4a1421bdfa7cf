// Checksums of names, and the one way to append to an output buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <random>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/LogLines.h"

namespace {

// The checksum by a table that is computed from the normal form of the polynomial, bits mirrored by hand: nothing in
// common with a loop over the reflected one.
std::uint32_t mirrored(std::uint32_t value, int bits) {
    std::uint32_t result = 0;
    for (int i = 0; i < bits; ++i) {
        result = result << 1 | (value >> i & 1U);
    }
    return result;
}

std::uint32_t checksumByTable(const std::string& bytes) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> result{};
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            std::uint32_t rest = byte << 24;
            for (int bit = 0; bit < 8; ++bit) {
                rest = (rest & 0x80000000U) != 0 ? rest << 1 ^ 0x04C11DB7U : rest << 1;
            }
            result[byte] = rest;
        }
        return result;
    }();
    std::uint32_t rest = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        rest = rest << 8 ^ table[(rest >> 24 ^ mirrored(static_cast<unsigned char>(byte), 8)) & 0xFFU];
    }
    return mirrored(rest, 32) ^ 0xFFFFFFFFU;
}

std::uint32_t checksum(const std::string& bytes) {
    return crc32(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

// A buffer with its cursor and count, as the encoders keep them.
struct Output {
    std::array<char, 16> bytes{};
    char* cursor = bytes.data();
    unsigned long used = 0;

    Output() { bytes.fill('.'); }
    bool append(const void* source, unsigned long count) {
        return safeMemcpy(cursor, used, bytes.size(), source, count);
    }
    void expectUntouchedAt(unsigned long count) const {
        EXPECT_EQ(cursor, bytes.data() + count);
        EXPECT_EQ(used, count);
        EXPECT_EQ(text().find_first_not_of('.', count), std::string::npos);
    }
    std::string text() const { return {bytes.data(), bytes.size()}; }
};

}  // namespace

TEST(Crc32, hasThePublishedCheckValue) {
    EXPECT_EQ(checksum("123456789"), 0xCBF43926U);
}

TEST(Crc32, isZeroForNoBytes) {
    EXPECT_EQ(checksum(""), 0U);
    EXPECT_EQ(crc32(nullptr, 0), 0U);
}

TEST(Crc32, hasKnownValues) {
    EXPECT_EQ(checksum("a"), 0xE8B7BE43U);
    EXPECT_EQ(checksum("abc"), 0x352441C2U);
    EXPECT_EQ(checksum("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
    EXPECT_EQ(checksum(std::string(32, '\0')), 0x190A55ADU);
    EXPECT_EQ(checksum(std::string(32, '\xff')), 0xFF6CAB0BU);
}

TEST(Crc32, coversEveryByteValueAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(checksum(text), checksumByTable(text)) << byte;
    }
}

TEST(Crc32, agreesWithATableOnRandomBytes) {
    std::mt19937 random(20240501);
    for (std::size_t length = 0; length < 300; ++length) {
        std::string text;
        while (text.size() < length) {
            text += static_cast<char>(random());
        }
        EXPECT_EQ(checksum(text), checksumByTable(text)) << length;
    }
}

TEST(Crc32, readsNothingBeyondTheLength) {
    EXPECT_EQ(crc32(reinterpret_cast<const unsigned char*>("123456789abc"), 9), 0xCBF43926U);
}

TEST(Crc32, countsBytesBehindANul) {
    EXPECT_EQ(checksum(std::string("a\0b", 3)), checksumByTable(std::string("a\0b", 3)));
    EXPECT_NE(checksum(std::string("a\0b", 3)), checksum("a"));
}

TEST(StringLength, countsTheBytesBeforeTheFirstNul) {
    EXPECT_EQ(string_length(""), 0UL);
    EXPECT_EQ(string_length("a"), 1UL);
    EXPECT_EQ(string_length("a\0b"), 1UL);
    EXPECT_EQ(string_length("标签"), 6UL);
}

TEST(StringLength, takesLongTexts) {
    EXPECT_EQ(string_length(std::string(5000000, 'x').c_str()), 5000000UL);
}

TEST(StringToId, isTheChecksumOfTheNameWithoutItsNul) {
    EXPECT_EQ(stringToId("123456789"), 0xCBF43926U);
    for (const char* name : {"ns", "module:function", "标签", "\xff\x80", " "}) {
        EXPECT_EQ(stringToId(name), checksumByTable(name)) << name;
    }
}

TEST(StringToId, isZeroForTheEmptyName) {
    EXPECT_EQ(stringToId(""), 0U);
}

TEST(StringToId, stopsAtTheFirstNul) {
    EXPECT_EQ(stringToId("123456789\0x"), 0xCBF43926U);
}

TEST(SafeMemcpy, appendsAndMovesOn) {
    Output output;
    EXPECT_TRUE(output.append("abc", 3));
    EXPECT_EQ(output.used, 3UL);
    EXPECT_EQ(output.cursor, output.bytes.data() + 3);
    EXPECT_TRUE(output.append("\0de", 3));
    output.expectUntouchedAt(6);
    EXPECT_EQ(output.text(), std::string("abc\0de..........", 16));
}

TEST(SafeMemcpy, fillsTheBufferToItsLastByte) {
    Output output;
    EXPECT_TRUE(output.append("0123456789", 10));
    EXPECT_TRUE(output.append("abcdef", 6));
    EXPECT_EQ(output.text(), "0123456789abcdef");
    EXPECT_EQ(output.used, 16UL);
}

TEST(SafeMemcpy, refusesOneByteTooMany) {
    Output output;
    ASSERT_TRUE(output.append("0123456789", 10));
    EXPECT_FALSE(output.append("abcdefg", 7));
    output.expectUntouchedAt(10);
    EXPECT_TRUE(output.append("abcdef", 6)) << "the refusal must not spoil the buffer";
}

TEST(SafeMemcpy, refusesAByteForAFullBuffer) {
    Output output;
    ASSERT_TRUE(output.append("0123456789abcdef", 16));
    EXPECT_FALSE(output.append("x", 1));
    output.expectUntouchedAt(16);
    EXPECT_EQ(output.text(), "0123456789abcdef");
}

TEST(SafeMemcpy, takesNothingForAFullBuffer) {
    Output output;
    ASSERT_TRUE(output.append("0123456789abcdef", 16));
    EXPECT_TRUE(output.append("x", 0));
    output.expectUntouchedAt(16);
}

TEST(SafeMemcpy, takesNothingFromANullSource) {
    Output output;
    EXPECT_TRUE(output.append(nullptr, 0));
    output.expectUntouchedAt(0);
}

TEST(SafeMemcpy, refusesBytesFromANullSource) {
    Output output;
    EXPECT_FALSE(output.append(nullptr, 1));
    output.expectUntouchedAt(0);
}

TEST(SafeMemcpy, refusesANullCursorEvenForNothing) {
    char* cursor = nullptr;
    unsigned long used = 0;
    EXPECT_FALSE(safeMemcpy(cursor, used, 16, "x", 1));
    EXPECT_FALSE(safeMemcpy(cursor, used, 16, "x", 0));
    EXPECT_FALSE(safeMemcpy(cursor, used, 16, nullptr, 0));
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(used, 0UL);
}

TEST(SafeMemcpy, refusesAUsedCountAboveTheCapacityEvenForNothing) {
    Output output;
    output.used = 17;
    EXPECT_FALSE(output.append("x", 0));
    EXPECT_FALSE(output.append("x", 1));
    EXPECT_FALSE(output.append(nullptr, 0));
    EXPECT_EQ(output.used, 17UL);
    EXPECT_EQ(output.cursor, output.bytes.data());
}

TEST(SafeMemcpy, refusesACountThatOverflows) {
    Output output;
    ASSERT_TRUE(output.append("abcd", 4));
    for (const unsigned long count : {ULONG_MAX, ULONG_MAX - 3, ULONG_MAX - 4, ULONG_MAX / 2 + 1}) {
        EXPECT_FALSE(output.append("x", count)) << count;
    }
    output.expectUntouchedAt(4);
    EXPECT_EQ(output.text(), "abcd............");
}

TEST(SafeMemcpy, refusesABufferOfNoBytes) {
    char byte = '.';
    char* cursor = &byte;
    unsigned long used = 0;
    EXPECT_FALSE(safeMemcpy(cursor, used, 0, "x", 1));
    EXPECT_TRUE(safeMemcpy(cursor, used, 0, "x", 0));
    EXPECT_EQ(byte, '.');
    EXPECT_EQ(used, 0UL);
}

TEST(SafeMemcpy, refusesWhatTheBoundedCopyRefuses) {
    // More room than the bounds-checking functions believe in: their largest block is 2 GiB less one byte.
    Output output;
    EXPECT_FALSE(safeMemcpy(output.cursor, output.used, 0x80000000UL, "abc", 3));
    output.expectUntouchedAt(0);
    EXPECT_TRUE(safeMemcpy(output.cursor, output.used, 0x7FFFFFFFUL, "abc", 3));
    output.expectUntouchedAt(3);
}

TEST(SafeMemcpy, refusesASourceThatOverlapsWhatItWouldWrite) {
    for (const unsigned long distance : {1UL, 3UL}) {
        for (const bool sourceFirst : {true, false}) {
            Output output;
            const unsigned long start = 8;
            output.cursor += start;
            output.used = start;
            const char* source = sourceFirst ? output.cursor - distance : output.cursor + distance;
            EXPECT_FALSE(output.append(source, 4)) << distance << sourceFirst;
            EXPECT_EQ(output.cursor, output.bytes.data() + start);
            EXPECT_EQ(output.used, start);
            EXPECT_EQ(output.text(), "........" + std::string(4, '\0') + "....");
        }
    }
}

TEST(SafeMemcpy, takesASourceThatOnlyTouchesWhatItWrites) {
    Output output;
    ASSERT_TRUE(output.append("abcd", 4));
    EXPECT_TRUE(output.append(output.cursor - 4, 4));
    EXPECT_TRUE(output.append(output.cursor + 4, 4));
    EXPECT_EQ(output.text(), "abcdabcd........");
    EXPECT_EQ(output.used, 12UL);
}

TEST(SafeMemcpy, fillsAMessageOfOneMebibyte) {
    constexpr unsigned long kCapacity = 0x100000;
    std::vector<char> buffer(kCapacity);
    const std::vector<char> piece(24, 'p');
    char* cursor = buffer.data();
    unsigned long used = 0;
    while (safeMemcpy(cursor, used, kCapacity, piece.data(), piece.size())) {
    }
    EXPECT_EQ(used, kCapacity / 24 * 24);
    EXPECT_EQ(cursor, buffer.data() + used);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 'p'), static_cast<long>(used));
}

TEST(BufferHelpers, logNothing) {
    setLogLevel(4);
    Output output;
    EXPECT_FALSE(output.append(nullptr, 1));
    EXPECT_FALSE(output.append("x", 17));
    EXPECT_EQ(stringToId(""), 0U);
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}
