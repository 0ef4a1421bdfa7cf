// The golden messages: tests/golden/NAME.hex, bytes in hexadecimal with their meaning beside them. A line holds bytes
// of two digits each, separated by blanks; everything from "#" on is for readers.
#ifndef TARN_TESTS_GOLDEN_H
#define TARN_TESTS_GOLDEN_H

#include <array>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

namespace golden {

// Every golden message; a test holds the list against the folder.
inline constexpr std::array<const char*, 11> kNames{"begin",
                                                    "end",
                                                    "namespace",
                                                    "namespace-empty",
                                                    "namespace-two",
                                                    "policy-actions",
                                                    "policy-condition",
                                                    "policy-kinds",
                                                    "policy-pairs",
                                                    "policy-plain",
                                                    "policy-special"};

inline std::string path(const std::string& name) {
    return std::string(TARN_GOLDEN_DIR "/") + name + ".hex";
}

inline char byteOf(const std::string& word) {
    if (word.size() != 2 || std::isxdigit(static_cast<unsigned char>(word[0])) == 0 ||
        std::isxdigit(static_cast<unsigned char>(word[1])) == 0) {
        throw std::runtime_error("annotated hex: \"" + word + "\" is no byte");
    }
    return static_cast<char>(std::stoul(word, nullptr, 16));
}

// The bytes of annotated hex. Throws std::runtime_error where a word is no byte.
inline std::string bytesOf(const std::string& text) {
    std::string bytes;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string word; words >> word;) {
            bytes += byteOf(word);
        }
    }
    return bytes;
}

// The bytes of one golden message, by its name. Throws std::runtime_error where there is none.
inline std::string message(const std::string& name) {
    std::ifstream file(path(name));
    if (!file) {
        throw std::runtime_error("no golden message at " + path(name));
    }
    return bytesOf(std::string(std::istreambuf_iterator<char>(file), {}));
}

}  // namespace golden

#endif
