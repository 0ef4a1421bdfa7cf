// The set that a recompiled section is put into, and what must be seen before anything of it is touched.
#ifndef TARN_POLICY_SECTION_BASE_H
#define TARN_POLICY_SECTION_BASE_H

#include <string>
#include <vector>

#include "Preparation.h"
#include "Report.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// A set with its side files: the one that waits for its delivery or, without such a one, the finished one.
struct SectionBase {
    bool waiting = false;
    std::string directory;
    std::string sceneInfo;
    std::string funcInfo;
};

// The set that the library would take. Throws Failure: kNothingToSend without any, kUnsoundSet where it is damaged or
// lacks a message: the library looks at nothing and would use it as it stands.
SectionBase requireSectionBase(Report& report);

// What the compilation of the section would do to the rest of the set and must not. Each is reported before Failure
// (kMistakes) is thrown:
//   - a file of somebody else whose name holds the section's tag: it would be removed
//   - a namespace or function that would get another number, or none: records of other sections carry the old one
//   - a namespace message beyond 1 MiB
//   - a folder or link in the place of a new file
// Gives the files of the section that will be replaced, sorted. Throws kUsage where neither the policy nor the set has
// anything of the section.
std::vector<std::string> requireHarmlessSection(const Preparation& prepared, const SectionBase& base, Report& report);

// Registers what the base knows and the policy need not: the functions in use, so that they keep their places, and
// namespaces without functions, so that their numbers stay pinned.
void registerBase(PolicyModuleManagerInterface& manager, const SectionBase& base);

#endif
