// The hex dump of a buffer.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iomanip>
#include <iostream>
#include <numeric>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

namespace {

const std::string kRule(43, '-');

std::string hex(unsigned char byte) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(byte));
    return text;
}

std::string address(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    const std::string digits = text;
    return digits.size() < 8 ? std::string(8 - digits.size(), '0') + digits : digits;
}

// The dump as it is described, put together line by line.
std::string dump(const unsigned char* data, std::size_t length) {
    std::string text = "\n" + kRule + "\n";
    for (std::size_t begin = 0; begin < length; begin += 16) {
        const std::size_t end = std::min(begin + 16, length);
        text += address(data + begin) + "  ";
        for (std::size_t i = begin; i < end; ++i) {
            text += hex(data[i]) + " ";
        }
        text += "  ";
        for (std::size_t i = begin; i < end; ++i) {
            text += data[i] >= 0x20 && data[i] <= 0x7E ? static_cast<char>(data[i]) : '.';
        }
        text += "\n";
    }
    return text + kRule;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char byte : text) {
        if (byte == '\n') {
            result += "\\n";
        } else if (byte == '"' || byte == '\\') {
            result += std::string("\\") + byte;
        } else {
            result += byte;
        }
    }
    return result;
}

std::string printed(const void* data, unsigned long length) {
    StdoutCapture output;
    printBytes(data, length);
    return output.finish();
}

const std::vector<unsigned char>& allBytes() {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> result(256);
        std::iota(result.begin(), result.end(), static_cast<unsigned char>(0));
        return result;
    }();
    return bytes;
}

}  // namespace

class HexDump : public testing::TestWithParam<unsigned long> {};

TEST_P(HexDump, isPrintedWhole) {
    const auto* data = allBytes().data() + 60;
    EXPECT_EQ(printed(data, GetParam()), dump(data, GetParam()));
}

TEST_P(HexDump, isLoggedWholeAtLevelThree) {
    const auto* data = allBytes().data() + 60;
    printed(data, GetParam());
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{3, escaped(dump(data, GetParam()))}}));
}

INSTANTIATE_TEST_SUITE_P(OfBytes, HexDump, testing::Values(0, 1, 2, 15, 16, 17, 31, 32, 33),
                         testing::PrintToStringParamName());

TEST(HexDumpText, holdsTwoRulesOnlyForNoBytes) {
    EXPECT_EQ(printed(nullptr, 0),
              "\n-------------------------------------------\n-------------------------------------------");
}

TEST(HexDumpText, hasOneFullLineAndOneOfOneByteForSeventeen) {
    const unsigned char data[] = "0123456789abcdefg";
    EXPECT_EQ(printed(data, 17), "\n-------------------------------------------\n" + address(data) +
                                     "  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66   0123456789abcdef\n" +
                                     address(data + 16) + "  67   g\n-------------------------------------------");
}

TEST(HexDumpText, showsEveryByteValue) {
    const auto& bytes = allBytes();
    EXPECT_EQ(printed(bytes.data(), bytes.size()), dump(bytes.data(), bytes.size()));
}

TEST(HexDumpText, fillsShortAddressesWithZerosToEight) {
    auto* const wanted = reinterpret_cast<void*>(0x10000);
    void* const low =
        mmap(wanted, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (low != wanted) {
        GTEST_SKIP() << "no memory can be had at a low address here";
    }
    EXPECT_EQ(printed(low, 1), "\n" + kRule + "\n00x10000  00   .\n" + kRule);
}

TEST(HexDumpText, isPrintedAlsoWhereTheLogDropsIt) {
    setLogLevel(2);
    EXPECT_EQ(printed("a", 1).size(), dump(allBytes().data(), 1).size());
    EXPECT_FALSE(testfiles::exists(testlog::kPath));
}

TEST(HexDumpText, isNotReadAsAFormat) {
    const unsigned char data[] = "%s%n%d%x";
    EXPECT_EQ(printed(data, 8), dump(data, 8));
    EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{3, escaped(dump(data, 8))}}));
}

TEST(HexDumpText, isCutInTheLogOnly) {
    const std::vector<unsigned char> data(40000, 'a');
    const std::string expected = dump(data.data(), data.size());
    ASSERT_GT(expected.size(), 131071U);
    EXPECT_TRUE(printed(data.data(), data.size()) == expected);
    EXPECT_TRUE(testlog::lines() == (std::vector<testlog::Line>{{3, escaped(expected.substr(0, 131071))}}));
}

TEST(HexDumpStream, isLeftAsItWasFound) {
    const StdoutCapture quiet;
    std::cout << std::uppercase << std::showbase << std::left << std::setfill('*') << std::oct;
    const auto flags = std::cout.flags();
    printBytes(allBytes().data(), 33);
    EXPECT_EQ(std::cout.flags(), flags);
    EXPECT_EQ(std::cout.fill(), '*');
    EXPECT_EQ(std::cout.width(), 0);
}

TEST(HexDumpStream, doesNotLendItsFlagsToTheDump) {
    std::cout << std::uppercase << std::showbase << std::left << std::setfill('*') << std::oct;
    EXPECT_EQ(printed(allBytes().data(), 33), dump(allBytes().data(), 33));
}

TEST(HexDumpStream, isFlushedAfterEveryFullLine) {
    testfiles::write("/etc/tarn/out", "");
    std::fflush(nullptr);
    const int saved = dup(1);
    ASSERT_NE(std::freopen("/etc/tarn/out", "w", stdout), nullptr);
    std::setvbuf(stdout, nullptr, _IOFBF, 1 << 20);
    printBytes(allBytes().data(), 33);
    const std::string content = testfiles::read("/etc/tarn/out");
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    const std::string expected = dump(allBytes().data(), 32);
    EXPECT_EQ(content.substr(0, expected.size() - kRule.size()), expected.substr(0, expected.size() - kRule.size()));
}
