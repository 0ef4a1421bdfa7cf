// Counts of a set in words: with bars for a terminal, as members of a JSON object, and as one page of HTML.
#ifndef TARN_POLICY_COUNTS_TEXT_H
#define TARN_POLICY_COUNTS_TEXT_H

#include <json/value.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "reading/SetCounts.h"

struct CountSection {
    const char* title;   // for people
    const char* member;  // of the JSON object
    std::vector<std::pair<std::string, std::uint64_t>> bars;
    bool isOfFiles = false;  // bars have the names of files as they are; all others are texts for people
};

// Everything that is shown, in its order.
std::vector<CountSection> sectionsOf(const SetCounts& counts);

// "By class" and a line with a bar for each. At most `most` lines a section; the rest is summed up.
std::string countsText(const SetCounts& counts, std::size_t most);

// {"title": ..., "bars": [[name, number], ...]} by member.
Json::Value countsJson(const SetCounts& counts);

// A page without anything from elsewhere: bars, and a table of all rows with a field to search it.
std::string countsHtml(const SetCounts& counts, const std::string& title);

#endif
