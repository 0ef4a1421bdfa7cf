// Cuts rules into slices of nearly equal length, in order, the longer ones first.
#ifndef TARN_COMPILER_RULE_SLICES_H
#define TARN_COMPILER_RULE_SLICES_H

#include <cstddef>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

// A deep copy of slice `index` of `count`, which is at least 1.
inline std::vector<PolicyNode> copySlice(const std::vector<PolicyNode>& rules, std::size_t count, std::size_t index) {
    const std::size_t base = rules.size() / count;
    const std::size_t rest = rules.size() % count;
    const std::size_t begin = index * base + (index < rest ? index : rest);
    const std::size_t length = base + (index < rest ? 1 : 0);
    const auto first = rules.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(length)};
}

#endif
