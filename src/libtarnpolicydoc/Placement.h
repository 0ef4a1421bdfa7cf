// Which key each rule goes under. Internal to this library.
#ifndef TARN_POLICYDOC_PLACEMENT_H
#define TARN_POLICYDOC_PLACEMENT_H

#include "libtarnpolicydoc/Plan.h"

namespace policydoc {

// Fills plan.keys from plan.rules, without any change to the groups.
void placeAsGiven(const PolicyDocument& document, Plan& plan);

// Fills plan.keys so that no message overflows, whatever the number of compiler threads. File names that the document
// itself makes meet are left to the caller to find.
void placeWithSplits(const PolicyDocument& document, const PlanOptions& options, Plan& plan);

// Fills plan.keys as the compilation of a section does: all rules in order of their keys, in files named after the last
// of these keys and the section.
void placeAsSection(const PolicyDocument& document, const MessageGroup& section, Plan& plan);

}  // namespace policydoc

#endif
