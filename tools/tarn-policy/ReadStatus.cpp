#include "ReadStatus.h"

#include <cstring>
#include <sstream>

const std::vector<ReadStatusText>& readStatusTable() {
    static const std::vector<ReadStatusText> table{};
    return table;
}

std::string readStatusMarkdown() {
    std::ostringstream text;
    text << "| Verb | Status | Name | Meaning |\n|---|---|---|---|\n";
    for (const ReadStatusText& row : readStatusTable()) {
        text << "| " << row.verb << " | " << static_cast<int>(row.status) << " | " << row.name << " | " << row.meaning
             << " |\n";
    }
    return text.str();
}

const char* ReadingVerb::statusName(ExitCode code) const {
    for (const ReadStatusText& row : readStatusTable()) {
        if (std::strcmp(row.verb, name_) == 0 && static_cast<int>(row.status) == static_cast<int>(code)) {
            return row.name;
        }
    }
    return "trouble";
}
