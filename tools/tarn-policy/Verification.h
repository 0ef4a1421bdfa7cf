// Holds the compiled set on disk against what the kernel takes, and against what the policy should have given.
#ifndef TARN_POLICY_VERIFICATION_H
#define TARN_POLICY_VERIFICATION_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Preparation.h"
#include "Report.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyTypes.h"

// Which set is looked at, and what to do where it is not sound.
struct CheckedSet {
    std::string directory = paths::kPolicyDataTmp;
    std::string advice = "compile it again";
};

// Reads the set as the kernel would. Throws Failure (kUnsoundSet), with every message that it would refuse, where the
// set is damaged or incomplete.
void requireSoundSet(Report& report, const CheckedSet& checked = {});

// Looks for messages that the set should have and has not. Throws Failure (kUnsoundSet) with their names.
void requireWholeSet(Report& report, const CheckedSet& checked = {});

// Throws Failure (kUnsoundSet) where the set's compilation was ended before the set was compared with its policy.
void requireFinishedCompilation(const std::string& advice);

// What the rules handed over under one key should give: for each the number of its records and a digest of their pairs
// of subject and object, so that a record in the set can be told to be of this rule. 24 bytes a rule.
class ExpectedRecords {
public:
    struct Rule {
        std::uint32_t outcome = 0;  // index into Plan::rules
        std::uint32_t records = 0;
        std::uint64_t digest = 0;
    };

    // Takes the group that is handed over for this key of the plan, or a part of it: the rules from `first` on.
    void add(const Preparation& prepared, const policydoc::PlannedKey& key, const PolicyDb& group,
             std::size_t first = 0);

    // The rules with records of one key and message group, in order.
    const std::vector<Rule>& of(const std::string& key, std::uint32_t messageGroup) const;

private:
    std::map<std::pair<std::string, std::uint32_t>, std::vector<Rule>> rules_;
};

// Reads the set back and looks for every record that is expected, rule by rule; for a section, in its messages. Throws
// Failure (kEmptyRules), with the rules whose records are missing, and kUnsoundSet as above.
void verifySet(const Preparation& prepared, const ExpectedRecords& expected, unsigned int threads, Report& report);

#endif
