// The rules of one set, in canonical form and order: for its digest, or to be compared with those of another.
#ifndef TARN_RULES_RULE_SET_H
#define TARN_RULES_RULE_SET_H

#include <cstdint>
#include <string>
#include <vector>

#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/NameBook.h"
#include "libtarnrules/RuleNames.h"
#include "libtarnsort/ExternalSort.h"

namespace tarnrules {

class RuleSet {
public:
    // Reads what is known of the set's names: its side files, looked for beside it and then in `etcDirectory` (none
    // where empty), and its namespace message. What is wrong with them is a warning.
    RuleSet(std::string path, const std::string& etcDirectory);
    RuleSet(const RuleSet&) = delete;
    RuleSet& operator=(const RuleSet&) = delete;

    // See RuleNames. Both sets must be there as long as one of them is being read.
    void alsoAskNamesOf(const RuleSet& other) { names_.alsoAsk(other.book_); }

    // Reads all rules and sorts them; once. Throws tarnsort::SortFailure.
    void read(const tarnsort::SortLimits& limits = {});

    // Why the rules are not known: the path could not be read, or messages that the kernel would refuse, each with its
    // name. Rules must not be used where there is one.
    const std::vector<std::string>& problems() const { return problems_; }
    // Whether one of them is that something could not be read at all.
    bool unreadable() const { return unreadable_; }
    // Missing begin and end messages, which have no rules; symbolic links, which are no messages; numbers without names.
    std::vector<std::string> warnings() const;

    std::uint64_t count() const { return sort_ ? sort_->records() : 0; }
    // The canonical forms in ascending order; false behind the last.
    // The bytes last until the next call.
    bool next(std::string_view& form);

    const std::string& path() const { return path_; }
    const tarnnames::NameBook& book() const { return book_; }

private:
    class Collector;

    std::string path_;
    tarnmessage::SetWalk announcements_;
    tarnnames::NameBook book_;
    RuleNames names_;
    std::unique_ptr<tarnsort::ExternalSort> sort_;  // of keys
    std::string form_;                              // of the last key that has stand-ins
    std::vector<std::string> problems_;
    std::vector<std::string> warnings_;
    bool unreadable_ = false;
};

// The digest of a set's rules: SHA-256 over a line that names the form, and each form behind its length, in ascending
// order. Takes the rules off the set, which must have no problems.
std::string digestOf(RuleSet& rules);

}  // namespace tarnrules

#endif
