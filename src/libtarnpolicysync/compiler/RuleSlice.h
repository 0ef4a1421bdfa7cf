// The rules of one compiler thread, as the encoder reads them.
#ifndef TARN_COMPILER_RULE_SLICE_H
#define TARN_COMPILER_RULE_SLICE_H

#include <cstddef>
#include <list>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"
#include "libtarnpolicysync/compiler/LargePages.h"

// A rule with its identifiers beside it: those of `head` do not count.
struct RuleView {
    const PolicyNode* head;
    const TARN_ID* subjects;
    std::size_t subjectCount;
    const TARN_ID* objects;
    std::size_t objectCount;
};

inline RuleView viewOf(const RuleView& rule) {
    return rule;
}
inline RuleView viewOf(const PolicyNode& rule) {
    return {&rule, rule.vecSubjectId.data(), rule.vecSubjectId.size(), rule.vecObjectId.data(),
            rule.vecObjectId.size()};
}

// Deep copies of rules. Rules come in runs that differ in their identifiers alone: what they share is kept once for a
// run, so that a table of many small rules is copied in little time and room, and their records can be copied from each
// other. Names of subjects and objects have been turned into identifiers by now and are left out.
class RuleSlice {
public:
    // For so many rules in all.
    void reserve(std::size_t rules) { rules_.reserve(rules); }
    void add(const PolicyNode& rule);

    // The views hold as long as the slice, also when it moves. Rules of one run have one head, and no others have it.
    using Rules = std::vector<RuleView, LargePages<RuleView>>;
    const Rules& rules() const { return rules_; }

private:
    using Block = std::vector<TARN_ID, LargePages<TARN_ID>>;

    const TARN_ID* keep(const std::vector<TARN_ID>& identifiers);
    void addBlock(std::size_t least);

    Rules rules_;
    std::list<PolicyNode> heads_;  // they stay where they are
    std::vector<Block> blocks_;    // never filled beyond what they have room for, so that identifiers stay, too
};

#endif
