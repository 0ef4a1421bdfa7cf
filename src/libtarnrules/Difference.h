// The difference of two sets of rules.
#ifndef TARN_RULES_DIFFERENCE_H
#define TARN_RULES_DIFFERENCE_H

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "libtarnrules/RuleSet.h"

namespace tarnrules {

// Takes the differences in the order of their identities, each as canonical forms. Each call says whether it wants more.
class DifferenceVisitor {
public:
    DifferenceVisitor() = default;
    DifferenceVisitor(const DifferenceVisitor&) = delete;
    DifferenceVisitor& operator=(const DifferenceVisitor&) = delete;
    virtual ~DifferenceVisitor() = default;

    virtual bool onAdded(std::string_view form) = 0;
    virtual bool onRemoved(std::string_view form) = 0;
    virtual bool onChanged(std::string_view oldForm, std::string_view newForm) = 0;
};

// Holds two sets of rules against each other. A rule that is in both is no difference; a rule that is twice in one and
// once in the other is one. Of what remains, an old and a new rule of one identity are a changed rule; the others were
// removed and added. Takes the rules off the sets, which must have no problems.
void compareRules(RuleSet& oldRules, RuleSet& newRules, DifferenceVisitor& visitor);

}  // namespace tarnrules

#endif
