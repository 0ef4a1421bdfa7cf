// How much memory a piece of work needs at its peak, beyond what the process has.
#ifndef TARN_TESTS_PEAK_MEMORY_H
#define TARN_TESTS_PEAK_MEMORY_H

#include <gtest/gtest.h>
#include <malloc.h>

#include <fstream>
#include <string>

namespace peakmemory {

// "VmHWM: 1234 kB": the most memory since the last reset, in bytes.
inline std::size_t peak() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, 6, "VmHWM:") == 0) {
            return std::stoul(line.substr(6)) * 1024;
        }
    }
    ADD_FAILURE() << "the kernel does not tell the peak";
    return 0;
}

// What was freed before goes back to the machine first, or the work would find it and seem to need none.
template <typename Work>
std::size_t growthDuring(Work work) {
    static_cast<void>(malloc_trim(0));
    std::ofstream reset("/proc/self/clear_refs");
    EXPECT_TRUE(reset << "5" << std::flush) << "the peak can't be reset";
    const std::size_t before = peak();
    work();
    return peak() - before;
}

}  // namespace peakmemory

#endif
