// Keeps a report short where one mistake is repeated in thousands of records.
#ifndef TARN_POLICY_FINDING_LIMIT_H
#define TARN_POLICY_FINDING_LIMIT_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "libtarnnames/ProblemList.h"
#include "reading/SetFinding.h"

// Hands findings on; of those of one kind in one file the first ones alone. The others are counted.
class FindingLimit {
public:
    static constexpr std::uint64_t kMostAlike = tarnnames::ProblemList::kMostKept;

    explicit FindingLimit(FindingSink sink) : sink_(std::move(sink)) {}

    void add(const SetFinding& finding);
    // Counts a finding. True where it is one of those that are told: then it is made, and goes to tell(). So nobody makes
    // the texts of millions of findings that nobody reads.
    bool takes(Weight weight, const std::string& path, const std::string& code);
    void tell(const SetFinding& finding) { sink_(finding); }
    // Tells how many were held back of each kind in each file since the last call.
    void release();

private:
    struct Alike {
        Weight weight = Weight::kNotice;
        std::uint64_t count = 0;
    };

    FindingSink sink_;
    std::map<std::pair<std::string, std::string>, Alike> alike_;  // by path and code
};

#endif
