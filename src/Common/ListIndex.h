// Knows where the strings of a long list stand, so that a list without duplicates grows in the time that its strings
// take. The list itself belongs to somebody else, who may also change it without a word.
#ifndef TARN_COMMON_LIST_INDEX_H
#define TARN_COMMON_LIST_INDEX_H

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

class ListIndex {
public:
    // Appends the string unless the list holds it. Short lists are searched. For longer ones the index is believed as
    // long as length, storage and some samples of the list are as it left them; else it is made anew. That notices
    // whoever adds, removes or replaces strings; one string of a long list that was overwritten in its place is noticed
    // when its turn as a sample comes.
    void appendOnce(std::vector<std::string>& list, std::string&& text);

private:
    bool holds(const std::vector<std::string>& list, const std::string& text);
    bool describes(const std::vector<std::string>& list);
    bool isSame(const std::vector<std::string>& list, std::size_t position) const;

    std::unordered_multimap<std::size_t, std::size_t> positions_;  // hash of a string to its place in the list
    std::vector<std::size_t> hashes_;                              // by place; the list may have grown beyond
    const std::string* storage_ = nullptr;
    std::size_t sample_ = 0;  // the place that is looked at next
};

#endif
