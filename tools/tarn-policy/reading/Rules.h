// What the verbs digest and diff share, and compile and apply with them: reading the rules of a set, and saying what is
// wrong with it.
#ifndef TARN_POLICY_RULES_H
#define TARN_POLICY_RULES_H

#include <string>

#include "Report.h"
#include "libtarnrules/RuleSet.h"

// Reads the rules. Throws Failure where the temporary folder can't hold them.
void readRules(tarnrules::RuleSet& rules);

// Prints the warnings of the set, each with its path.
void warnOf(const tarnrules::RuleSet& rules, Report& report);

// The problems of the set, in words: what is wrong, up to a few messages.
std::string problemsOf(const tarnrules::RuleSet& rules);

// Prints the digest of the set that a compilation has just left. Where there is none, that is a warning: the set is
// good without it.
void reportDigestOf(const std::string& path, Report& report);

#endif
