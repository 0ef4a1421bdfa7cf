#include "libtarnpolicysync/labels/LabelIndex.h"

#include <cstring>
#include <functional>

namespace {

constexpr std::size_t kWordsPerLabel = sizeof(TARN_ID) / sizeof(std::uint64_t);
constexpr std::size_t kWordsBefore = 2;  // the labels: their number, the length of the name

std::uint64_t hashOf(const std::string& name) {
    return std::hash<std::string>()(name);
}

std::size_t wordsFor(std::size_t bytes) {
    return (bytes + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t);
}

}  // namespace

LabelIndex::LabelIndex(const std::map<std::string, std::vector<TARN_ID>>& labels) {
    std::size_t slots = 2;
    while (slots < 2 * labels.size()) {
        slots *= 2;
    }
    slots_.resize(slots);
    for (const auto& [name, ids] : labels) {
        if (!ids.empty()) {
            store(name, ids);
        }
    }
}

void LabelIndex::store(const std::string& name, const std::vector<TARN_ID>& ids) {
    const std::uint64_t hash = hashOf(name);
    std::size_t slot = hash & (slots_.size() - 1);
    while (slots_[slot] != 0) {
        slot = (slot + 1) & (slots_.size() - 1);
    }
    const std::size_t place = words_.size();
    slots_[slot] = (hash & ~kPlaceMask) | (place + 1);
    const std::size_t labelWords = ids.size() * kWordsPerLabel;
    words_.resize(place + kWordsBefore + labelWords + wordsFor(name.size()));
    words_[place] = ids.size();
    words_[place + 1] = name.size();
    std::memcpy(&words_[place + kWordsBefore], ids.data(), ids.size() * sizeof(TARN_ID));
    if (!name.empty()) {
        std::memcpy(&words_[place + kWordsBefore + labelWords], name.data(), name.size());
    }
}

void LabelIndex::append(const std::string& name, std::vector<TARN_ID>& ids) const {
    if (slots_.empty()) {
        return;
    }
    const std::uint64_t hash = hashOf(name);
    for (std::size_t slot = hash & (slots_.size() - 1); slots_[slot] != 0; slot = (slot + 1) & (slots_.size() - 1)) {
        if ((slots_[slot] & ~kPlaceMask) != (hash & ~kPlaceMask)) {
            continue;
        }
        const std::uint64_t* entry = &words_[(slots_[slot] & kPlaceMask) - 1];
        const std::uint64_t* labels = entry + kWordsBefore;
        if (entry[1] == name.size() && std::memcmp(labels + entry[0] * kWordsPerLabel, name.data(), name.size()) == 0) {
            const std::size_t before = ids.size();
            ids.resize(before + entry[0]);
            std::memcpy(&ids[before], labels, entry[0] * sizeof(TARN_ID));
            return;
        }
    }
}
