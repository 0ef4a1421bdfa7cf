// Which records a query asks for.
#ifndef TARN_POLICY_RECORD_FILTER_H
#define TARN_POLICY_RECORD_FILTER_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "libtarnmessage/MessageViews.h"
#include "libtarnnames/RecordWords.h"

// As they stand on the command line; empty where nothing was asked.
struct FilterTexts {
    std::string subject;
    std::string object;
    std::string permClass;
    std::string perm;
    std::string nameSpace;
    std::optional<std::string> group;  // a group's name may be empty
};

class RecordFilter {
public:
    // Names are looked up here, namespaces excepted, which the set itself may name. Throws Failure for a name that nobody
    // knows.
    RecordFilter(FilterTexts texts, const tarnnames::NameBook& book);

    // The cheap part, without the group.
    bool takes(const kernelmsg::PolicyNodeRecord& node);
    // True where one of the record's groups is asked for; which one it is may be ambiguous.
    bool takesGroup(const tarnnames::RecordWords& words) const;

private:
    using ClassAndPerm = std::pair<std::optional<std::uint32_t>, std::uint32_t>;

    std::vector<TARN_ID> identifiersOf(const char* side, const std::string& text) const;
    void findClasses();
    void findPermissions();
    bool takesNamespace(std::uint32_t number);

    FilterTexts texts_;
    const tarnnames::NameBook& book_;
    std::vector<TARN_ID> subjects_;
    std::vector<TARN_ID> objects_;
    std::vector<std::uint32_t> classes_;
    std::vector<ClassAndPerm> perms_;
    std::optional<std::vector<std::uint32_t>> nameSpaces_;  // looked up with the first record
};

#endif
