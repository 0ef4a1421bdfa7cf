// The hex dump of a buffer.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iomanip>
#include <iostream>
#include <locale>
#include <numeric>
#include <sstream>
#include <streambuf>

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

namespace {

// Stands behind std::cout and keeps what had been written at each flush.
class FlushRecorder : public std::streambuf {
public:
    FlushRecorder() : before_(std::cout.rdbuf(this)) {}
    ~FlushRecorder() override { std::cout.rdbuf(before_); }
    FlushRecorder(const FlushRecorder&) = delete;
    FlushRecorder& operator=(const FlushRecorder&) = delete;

    const std::string& text() const { return text_; }
    const std::vector<std::string>& atFlushes() const { return atFlushes_; }

protected:
    int_type overflow(int_type byte) override {
        text_ += static_cast<char>(byte);
        return byte;
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        text_.append(text, static_cast<std::size_t>(count));
        return count;
    }
    int sync() override {
        atFlushes_.push_back(text_);
        return 0;
    }

private:
    std::streambuf* before_;
    std::string text_;
    std::vector<std::string> atFlushes_;
};

// The beginning of a dump, up to the end of a line; the first two lines are the line feed and the rule.
std::string upToLine(const std::string& dump, int line) {
    std::size_t end = 0;
    for (; line > 0; --line) {
        end = dump.find('\n', end) + 1;
    }
    return dump.substr(0, end);
}

// Lets the global locale write digits in groups: "f,f".
struct GroupedDigits : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
    char do_thousands_sep() const override { return ','; }
};

}  // namespace

TEST(HexDumpStream, isFlushedAfterEveryFullLine) {
    const std::string expected = dump(allBytes().data(), 49);
    const FlushRecorder recorder;
    printBytes(allBytes().data(), 49);
    EXPECT_EQ(recorder.text(), expected);
    EXPECT_EQ(recorder.atFlushes(),
              (std::vector<std::string>{upToLine(expected, 3), upToLine(expected, 4), upToLine(expected, 5)}));
}

TEST(HexDumpStream, isNotFlushedWithoutAFullLine) {
    const FlushRecorder recorder;
    printBytes(allBytes().data(), 15);
    EXPECT_EQ(recorder.text(), dump(allBytes().data(), 15));
    EXPECT_TRUE(recorder.atFlushes().empty());
}

TEST(HexDumpText, hasNoGroupedDigitsInAnyLocale) {
    const std::string expected = dump(allBytes().data(), 33);
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));  // the locale owns it
    std::ostringstream number;
    number << 255;
    EXPECT_EQ(number.str(), "2,5,5");
    const std::string text = printed(allBytes().data(), 33);
    const std::vector<testlog::Line> log = testlog::lines();
    std::locale::global(before);
    EXPECT_EQ(text, expected);
    EXPECT_EQ(log, (std::vector<testlog::Line>{{3, escaped(expected)}}));
}
