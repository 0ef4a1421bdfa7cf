// Compiles one section and puts it into a set.
#ifndef TARN_POLICY_SECTION_COMPILATION_H
#define TARN_POLICY_SECTION_COMPILATION_H

#include <string>
#include <vector>

#include "Preparation.h"
#include "Progress.h"
#include "Report.h"
#include "SectionBase.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// Leaves the set with its new section under "/etc/tarn/.policydata". From the first change to the end of the comparison
// the set has no end message, so that a run that is cut short leaves nothing that could be taken for a set. A failure
// removes a set that was copied for this run and leaves one that waited before without its end message. `replaced` are
// the section's old files. Throws Failure.
void compileSection(PolicyModuleManagerInterface& manager, const Preparation& prepared, const SectionBase& base,
                    const std::vector<std::string>& replaced, Report& report, Progress& progress);

#endif
