#include "ReadStatus.h"

#include <cstring>
#include <sstream>

const std::vector<ReadStatusText>& readStatusTable() {
    static const std::vector<ReadStatusText> kTable{
        {"inspect", ReadStatus::kYes, "shown", "everything was shown"},
        {"inspect", ReadStatus::kNo, "unsound", "a message is missing or damaged; all that is sound was shown"},
        {"inspect", ReadStatus::kTrouble, "trouble", "something could not be read, or the command line is wrong"},
        {"verify", ReadStatus::kYes, "sound", "the kernel would take the set; there may be notices"},
        {"verify", ReadStatus::kNo, "refused", "the set would be refused"},
        {"verify", ReadStatus::kTrouble, "trouble", "something could not be read, or the command line is wrong"},
        {"stat", ReadStatus::kYes, "counted", "everything was counted"},
        {"stat", ReadStatus::kNo, "unsound", "a message is missing or damaged; all that is sound was counted"},
        {"stat", ReadStatus::kTrouble, "trouble",
         "something could not be read or written, or the command line is wrong"},
        {"query", ReadStatus::kYes, "found", "at least one record matches"},
        {"query", ReadStatus::kNo, "none", "no record matches"},
        {"query", ReadStatus::kTrouble, "trouble",
         "something could not be read or is damaged, a name is not known, or the command line is wrong"},
        {"diff", ReadStatus::kYes, "same", "both sets have the same rules"},
        {"diff", ReadStatus::kNo, "different", "rules were added, removed or changed"},
        {"diff", ReadStatus::kTrouble, "trouble",
         "a set is damaged, something could not be read or stored, or the command line is wrong"},
        {"digest", ReadStatus::kYes, "computed", "the digest was printed"},
        {"digest", ReadStatus::kNo, "unsound", "the kernel would refuse the set, which has no digest"},
        {"digest", ReadStatus::kTrouble, "trouble",
         "something could not be read or stored, or the command line is wrong"},
    };
    return kTable;
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
