// Which files of a set belong to a section, and which only hold its tag in their names.
#ifndef TARN_POLICY_SECTION_FILES_H
#define TARN_POLICY_SECTION_FILES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Preparation.h"

struct SectionFiles {
    std::string tag;
    std::vector<std::string> own;        // sorted
    std::vector<std::string> strangers;  // sorted; a merge would remove them with the section's own
};

// The library finds a section's files by the tag alone, anywhere in the name. A file is taken for the section's own only
// when all of these hold: its name ends as the names of the section's files do, all its records are of the section's
// namespace, and no other rules of the policy come out at this name. `pinned` are the namespace numbers of the set.
SectionFiles sectionFiles(const Preparation& prepared, const std::string& directory,
                          const std::map<std::string, std::uint32_t>& pinned);

// Whether the files of this key, namespace and group can have this name: "key_0_n_g_0" or, after a compilation of the
// section, "key_n_g_0_n_g_0", with any numbers. An overfull key is spread over "key.1" and so on.
bool canHaveName(const policydoc::RuleOrigin& origin, const std::string& name);

// Whether some key's files of this namespace and group can have this name.
bool endsAsSectionFile(const policydoc::MessageGroup& section, const std::string& name);

#endif
