// The rules that the benchmarks compile, and a manager that is ready to compile them.
#ifndef TARN_BENCH_RULES_H
#define TARN_BENCH_RULES_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/ManagerAccess.h"

namespace bench {

constexpr std::size_t kPlainRecordSize = 100;

// Class definitions in place and read, "/etc/tarn/.policydata" empty.
class Manager : public ManagerAccess {
public:
    explicit Manager(unsigned int threads = 1);
};

// A rule without condition and actions of subjects × objects pairs, with identifiers of its own.
PolicyNode plainRule(std::size_t number, std::size_t subjects, std::size_t objects);
std::vector<PolicyNode> plainRules(std::size_t count, std::size_t subjects, std::size_t objects);
// Gives a rule a condition of 15 nodes and two actions. Needs the functions below.
void addConditionAndActions(PolicyNode& rule);
void registerFunctions(Manager& manager);

// Hands the rules to the manager under one key; the caller's copy is gone afterwards.
void hand(Manager& manager, const std::string& key, std::vector<PolicyNode>&& rules);

// Empties the folder of the compiled set and waits until the file system is done with it.
void emptyPolicyFolder();
// What lies there.
struct FolderContent {
    std::size_t files = 0;
    std::size_t bytes = 0;
    bool operator==(const FolderContent& other) const { return files == other.files && bytes == other.bytes; }
};
FolderContent policyFolder();

}  // namespace bench

#endif
