// The rules of one compiler thread, as the encoder reads them.
#ifndef TARN_COMPILER_RULE_SLICE_H
#define TARN_COMPILER_RULE_SLICE_H

#include <cstddef>
#include <list>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"
#include "libtarnpolicysync/compiler/LargePages.h"

// Rules that follow each other and are alike but for the values of their identifiers.
struct RuleRun {
    const PolicyNode* head;  // what they share; it has no identifiers
    std::size_t subjectCount;
    std::size_t objectCount;
    const TARN_ID* identifiers;  // rule by rule: its subjects, then its objects
    std::size_t ruleCount;
};

// Deep copies of rules. What neighbours share is kept once, so that a table of many small rules is copied in little time
// and room, and their records can be copied from each other. Names of subjects and objects have been turned into
// identifiers by now and are left out.
class RuleSlice {
public:
    RuleSlice() = default;
    RuleSlice(RuleSlice&&) = default;
    RuleSlice& operator=(RuleSlice&&) = default;
    RuleSlice(const RuleSlice&) = delete;  // the runs of a copy would point into the original
    RuleSlice& operator=(const RuleSlice&) = delete;
    ~RuleSlice() = default;

    // After an exception the slice is good for nothing but its end.
    void add(const PolicyNode& rule);

    // Runs hold as long as the slice, also when it moves. Neighbouring runs that differ only in how many identifiers
    // they have or where these lie share a head; other runs never do.
    const std::vector<RuleRun>& runs() const { return runs_; }

private:
    using Block = std::vector<TARN_ID, LargePages<TARN_ID>>;

    bool hasRoom(std::size_t identifiers) const;
    void addBlock(std::size_t least);
    const TARN_ID* append(const PolicyNode& rule);

    std::vector<RuleRun> runs_;
    std::list<PolicyNode> heads_;  // they stay where they are
    std::vector<Block> blocks_;    // never filled beyond what they have room for, so that identifiers stay, too
};

#endif
