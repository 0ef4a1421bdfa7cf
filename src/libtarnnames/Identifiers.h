// Names of labelled objects by their identifiers, from a label table.
#ifndef TARN_NAMES_IDENTIFIERS_H
#define TARN_NAMES_IDENTIFIERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

namespace tarnnames {

// Three words, each decimal or with 0x, joined by ":". Nothing for any other text.
std::optional<TARN_ID> identifierOf(std::string_view text);

class Identifiers {
public:
    // False, with the reason, where the table can't be read.
    bool read(const std::string& path, std::string& problem);

    // "subject_file /usr/bin/a", in the order of the alphabet; several where names share an identifier.
    const std::vector<std::string>& names(const TARN_ID& identifier) const;

    // The identifiers of a name, under whatever kind.
    std::vector<TARN_ID> identifiers(const std::string& name) const;

    bool empty() const { return byIdentifier_.empty(); }

private:
    struct Hash {
        std::size_t operator()(const std::array<std::uint64_t, 3>& words) const;
    };
    void add(const std::string& kind, const std::string& name, const TARN_ID& identifier);

    std::unordered_map<std::array<std::uint64_t, 3>, std::vector<std::string>, Hash> byIdentifier_;
    std::unordered_map<std::string, std::vector<TARN_ID>> byName_;
};

}  // namespace tarnnames

#endif
