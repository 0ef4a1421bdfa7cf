// The copies of the rule table that compilations work on, already cut into the slices of their threads, so that each
// rule is copied once on its way. The caller holds the table's mutex meanwhile.
#ifndef TARN_COMPILER_POLICY_SNAPSHOT_H
#define TARN_COMPILER_POLICY_SNAPSHOT_H

#include <map>
#include <string>
#include <vector>

#include "libtarnpolicysync/compiler/RuleSlice.h"

// Rules that are compiled together, under one key.
struct SlicedRules {
    std::string key;
    std::vector<RuleSlice> slices;
};

// Copies the whole table. Large tables are copied by helper threads, one a slice, which take no lock and have ended when
// this returns. Rules that are cut into no slices come back as their key alone.
std::vector<SlicedRules> takeSnapshot(const std::map<std::string, PolicyDb>& table, std::size_t sliceCount);

// Copies the rules of one namespace and group, in the order of the table. The key is that of the last of them; without
// any it is empty.
SlicedRules takeSectionSnapshot(const std::map<std::string, PolicyDb>& table, const std::string& nameSpace,
                                const std::string& group, std::size_t sliceCount);

#endif
