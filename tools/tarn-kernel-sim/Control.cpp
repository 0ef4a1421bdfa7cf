#include "Control.h"

#include <cerrno>
#include <charconv>
#include <sstream>
#include <vector>

#include "Common/KernelAnswers.h"
#include "Simulator.h"

namespace sim {

namespace {

template <typename Number>
bool parseNumber(const std::string& text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

bool carryOut(Simulator& simulator, const std::vector<std::string>& words) {
    const std::string& command = words[0];
    if (command == "reset" && words.size() == 1) {
        simulator.reset();
        return true;
    }
    if (command == "para" && words.size() == 2) {
        return simulator.parameters.addPath(words[1]);
    }
    if (command == "refuse" && words.size() == 2 && words[1] == "nothing") {
        simulator.refuseNothing();
        return true;
    }
    Refusal refusal;
    if (command == "refuse" && words.size() == 3 && parseRefusal(words[1], words[2], refusal)) {
        simulator.refuse(refusal.count, refusal.error);
        return true;
    }
    return false;
}

}  // namespace

int parseErrno(const std::string& text) {
    for (const KernelAnswer& answer : kKernelAnswers) {
        if (text == answer.name) {
            return answer.number;
        }
    }
    int number = 0;
    return parseNumber(text, number) && number >= 1 && number <= kGreatestErrno ? number : -1;
}

bool parseRefusal(const std::string& count, const std::string& error, Refusal& refusal) {
    refusal.error = parseErrno(error);
    return parseNumber(count, refusal.count) && refusal.count >= 1 && refusal.error > 0;
}

int control(Simulator& simulator, std::string_view commands) {
    std::istringstream lines{std::string(commands)};
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> words = wordsOf(line);
        if (!words.empty() && !carryOut(simulator, words)) {
            return EINVAL;
        }
    }
    return 0;
}

}  // namespace sim
