// Compares bytes and whole directories, and says where they differ instead of printing megabytes.
#ifndef TARN_TESTS_BYTES_H
#define TARN_TESTS_BYTES_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace testbytes {

// EXPECT_TRUE(same(expected, actual)) names the first byte that differs, in hexadecimal with its surroundings.
testing::AssertionResult same(const std::string& expected, const std::string& actual);
// Names and contents.
testing::AssertionResult sameFiles(const std::map<std::string, std::string>& expected,
                                   const std::map<std::string, std::string>& actual);
// Equal lists, entry by entry.
testing::AssertionResult sameList(const std::vector<std::string>& expected, const std::vector<std::string>& actual);

// Name to content of the regular files of a directory.
std::map<std::string, std::string> readFiles(const std::string& directory);
// "a5 a5 5a 5a".
std::string hex(const std::string& bytes);

}  // namespace testbytes

#endif
