#include "support/LogLines.h"

#include <unistd.h>

#include <regex>
#include <sstream>

#include "support/Files.h"

namespace testlog {

std::ostream& operator<<(std::ostream& stream, const Line& line) {
    return stream << "{" << line.level << ", \"" << line.text << "\"}";
}

std::vector<Line> lines() {
    const std::string prefix =
        R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\]\[)" + std::to_string(getpid()) + R"(\] \[LEVEL:(\d+)\] )";
    const std::regex shortForm(prefix);
    std::vector<Line> result;
    std::istringstream content(testfiles::read(kPath));
    for (std::string line; std::getline(content, line);) {
        std::smatch match;
        if (std::regex_search(line, match, shortForm, std::regex_constants::match_continuous)) {
            result.push_back({std::stoi(match[1]), match.suffix()});
        } else {
            result.push_back({-1, line});
        }
    }
    return result;
}

std::vector<Line> lines(int highestLevel) {
    std::vector<Line> result;
    for (const Line& line : lines()) {
        if (line.level <= highestLevel) {
            result.push_back(line);
        }
    }
    return result;
}

void clear() {
    unlink(kPath);
}

}  // namespace testlog
