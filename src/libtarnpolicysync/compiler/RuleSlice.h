// The rules of one compiler thread, as the encoder reads them.
#ifndef TARN_COMPILER_RULE_SLICE_H
#define TARN_COMPILER_RULE_SLICE_H

#include <cstddef>
#include <list>
#include <memory>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

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
    const std::vector<RuleView>& rules() const { return rules_; }

private:
    const TARN_ID* keep(const std::vector<TARN_ID>& identifiers);
    void addBlock(std::size_t least);

    std::vector<RuleView> rules_;
    std::list<PolicyNode> heads_;  // they stay where they are
    std::vector<std::unique_ptr<TARN_ID[]>> blocks_;
    std::size_t blockSize_ = 0;  // of the last block, in identifiers
    std::size_t blockUsed_ = 0;
};

#endif
