#include "support/Bytes.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "support/Files.h"

namespace testbytes {

namespace {

constexpr std::size_t kSurroundings = 24;

std::string around(const std::string& bytes, std::size_t place) {
    const std::size_t first = place < kSurroundings ? 0 : place - kSurroundings;
    return "[" + std::to_string(first) + "..] " + hex(bytes.substr(std::min(first, bytes.size()), 2 * kSurroundings));
}

}  // namespace

std::string hex(const std::string& bytes) {
    std::string result;
    for (const char byte : bytes) {
        std::array<char, 4> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte)));
        result += (result.empty() ? "" : " ") + std::string(digits.data());
    }
    return result;
}

testing::AssertionResult same(const std::string& expected, const std::string& actual) {
    if (expected == actual) {
        return testing::AssertionSuccess();
    }
    const auto shorter = static_cast<std::ptrdiff_t>(std::min(expected.size(), actual.size()));
    const auto difference = std::mismatch(expected.begin(), expected.begin() + shorter, actual.begin());
    const auto place = static_cast<std::size_t>(difference.first - expected.begin());
    return testing::AssertionFailure() << expected.size() << " bytes expected, " << actual.size()
                                       << " found, the first difference is at " << place << "\n  expected "
                                       << around(expected, place) << "\n  found    " << around(actual, place);
}

testing::AssertionResult sameFiles(const std::map<std::string, std::string>& expected,
                                   const std::map<std::string, std::string>& actual) {
    for (const auto& [name, content] : expected) {
        const auto found = actual.find(name);
        if (found == actual.end()) {
            return testing::AssertionFailure() << "no file " << name;
        }
        if (testing::AssertionResult result = same(content, found->second); !result) {
            return testing::AssertionFailure() << name << ": " << result.message();
        }
    }
    for (const auto& [name, content] : actual) {
        if (expected.count(name) == 0) {
            return testing::AssertionFailure() << "unexpected file " << name << " of " << content.size() << " bytes";
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult sameList(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    for (std::size_t index = 0; index < std::min(expected.size(), actual.size()); ++index) {
        if (testing::AssertionResult result = same(expected[index], actual[index]); !result) {
            return testing::AssertionFailure() << "entry " << index << ": " << result.message();
        }
    }
    if (expected.size() != actual.size()) {
        return testing::AssertionFailure() << expected.size() << " entries expected, " << actual.size() << " found";
    }
    return testing::AssertionSuccess();
}

std::map<std::string, std::string> readFiles(const std::string& directory) {
    std::map<std::string, std::string> files;
    for (const std::string& name : testfiles::list(directory)) {
        files[name] = testfiles::read(directory + "/" + name);
    }
    return files;
}

}  // namespace testbytes
