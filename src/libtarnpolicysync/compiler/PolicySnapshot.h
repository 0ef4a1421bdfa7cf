// The copy of the rule table that a compilation works on, already cut into the slices of its threads, so that each rule
// is copied once on its way.
#ifndef TARN_COMPILER_POLICY_SNAPSHOT_H
#define TARN_COMPILER_POLICY_SNAPSHOT_H

#include <map>
#include <string>
#include <vector>

#include "libtarnpolicysync/compiler/RuleSlice.h"

struct SectionSnapshot {
    std::string key;
    std::vector<RuleSlice> slices;
};

// Copies the whole table; the caller holds its mutex. Large tables are copied by helper threads, one a slice, which
// take no lock and have ended when this returns. A section that is cut into no slices comes back with its key alone.
std::vector<SectionSnapshot> takeSnapshot(const std::map<std::string, PolicyDb>& table, std::size_t sliceCount);

#endif
