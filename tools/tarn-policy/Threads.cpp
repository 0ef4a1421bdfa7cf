#include "Threads.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"

unsigned int threadsFromConfiguration(const std::vector<std::string>& lines, unsigned int processors) {
    std::uint16_t threads = 0;
    for (const std::string& line : lines) {
        const std::vector<std::string> fields = Split(line, '=');
        if (fields.size() != 2 || fields[0] != "threadnum") {
            continue;
        }
        try {
            threads = static_cast<std::uint16_t>(std::stoul(fields[1]));  // cut to 16 bits, as the library stores it
        } catch (const std::logic_error&) {
            continue;  // a value that is no number leaves what an earlier line gave
        }
        if (threads > processors) {
            threads = 0;
        }
    }
    constexpr unsigned int kMostDerived = 8;
    return threads != 0 ? threads : std::clamp(processors / 2, 1U, kMostDerived);
}

unsigned int libraryThreads() {
    std::ifstream stream(paths::kConfiguration, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    return threadsFromConfiguration(Split(text.substr(0, text.find('\0')), '\n'), std::thread::hardware_concurrency());
}
