// Policy messages of any number of records, made of the golden one.
#ifndef TARN_TESTS_PLAIN_MESSAGE_H
#define TARN_TESTS_PLAIN_MESSAGE_H

#include <cstdint>
#include <cstring>
#include <string>

#include "support/Golden.h"

namespace golden {

inline std::string withWord(std::string bytes, std::size_t offset, std::uint32_t word) {
    std::memcpy(bytes.data() + offset, &word, sizeof word);
    return bytes;
}

// A policy message of `count` copies of the record of policy-plain, each with another subject from `first` on.
inline std::string plainMessage(std::uint32_t count, std::uint64_t first) {
    const std::string plain = message("policy-plain");
    std::string made = plain.substr(0, 20);
    for (std::uint32_t record = 0; record < count; ++record) {
        std::string bytes = plain.substr(20, 100);
        const std::uint64_t subject = first + record;
        std::memcpy(bytes.data() + 12, &subject, sizeof subject);
        made += bytes;
    }
    made += plain.substr(120);
    return withWord(withWord(made, 4, static_cast<std::uint32_t>(made.size())), 12, count);
}

}  // namespace golden

#endif
