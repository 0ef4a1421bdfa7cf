// The labels of one kind of names, laid out for being found: rules ask for the same names over and over, in no order, and
// what a look-up costs is the memory that it touches. Here that is one slot, and one place for labels and name together.
#ifndef TARN_LABELS_LABEL_INDEX_H
#define TARN_LABELS_LABEL_INDEX_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

class LabelIndex {
public:
    LabelIndex() = default;
    // Copies the labels; names without any are left out.
    explicit LabelIndex(const std::map<std::string, std::vector<TARN_ID>>& labels);

    // Appends the labels of the name in their order; an unknown name has none.
    void append(const std::string& name, std::vector<TARN_ID>& ids) const;

private:
    // A slot is empty (0), or holds the upper bits of a name's hash and, below them, 1 + the place of its entry.
    static constexpr unsigned int kPlaceBits = 40;
    static constexpr std::uint64_t kPlaceMask = (std::uint64_t{1} << kPlaceBits) - 1;

    void store(const std::string& name, const std::vector<TARN_ID>& ids);

    std::vector<std::uint64_t> slots_;  // a power of two of them, at most half in use; searched from slot to slot
    std::vector<std::uint64_t>
        words_;  // entries: number of labels, length of the name, labels, name up to a whole word
};

#endif
