// What the tests of directory operations share.
#ifndef TARN_TESTS_TREE_FIXTURE_H
#define TARN_TESTS_TREE_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"

// Runs with umask 0, so that modes stand as the library gives them, and checks at the end that every descriptor that
// the calls opened is closed again.
class TreeTest : public testing::Test {
protected:
    void SetUp() override {
        umask(0);
        descriptors_ = testfiles::openDescriptors();
    }
    void TearDown() override { EXPECT_EQ(testfiles::openDescriptors(), descriptors_) << "descriptors leaked"; }

private:
    int descriptors_ = 0;
};

using LogLineList = std::vector<testlog::Line>;

inline LogLineList error(const std::string& text) {
    return {{1, text}};
}

inline std::string because(int number) {
    return std::string(" failed: ") + std::strerror(number);
}

#endif
