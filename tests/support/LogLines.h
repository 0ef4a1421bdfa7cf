// Reads the library's log back, so that tests compare whole lines with their level.
#ifndef TARN_TESTS_LOG_LINES_H
#define TARN_TESTS_LOG_LINES_H

#include <ostream>
#include <string>
#include <vector>

namespace testlog {

inline constexpr char kPath[] = "/var/log/tarn-policy.log";

struct Line {
    int level;
    std::string text;  // as it stands in the file, that is with escapes

    bool operator==(const Line& other) const { return level == other.level && text == other.text; }
};
std::ostream& operator<<(std::ostream& stream, const Line& line);

// All lines so far. A line whose prefix does not have the short form comes back with level -1 and its whole text.
std::vector<Line> lines();
// Those of at most this level: lines(1) are the errors.
std::vector<Line> lines(int highestLevel);
// Forgets what was logged.
void clear();

}  // namespace testlog

#endif
