// Cuts rules into slices of nearly equal length, in order, the longer ones first.
#ifndef TARN_COMPILER_SLICE_RANGE_H
#define TARN_COMPILER_SLICE_RANGE_H

#include <cstddef>

struct SliceRange {
    std::size_t begin;
    std::size_t length;
};

// Slice `index` of `count`, which is at least 1, of so many rules.
inline SliceRange sliceRange(std::size_t rules, std::size_t count, std::size_t index) {
    const std::size_t base = rules / count;
    const std::size_t rest = rules % count;
    return {index * base + (index < rest ? index : rest), base + (index < rest ? 1 : 0)};
}

// Whether rules can be cut into so many slices; complains where not.
bool canBeCutInto(int count);

#endif
