#include "reading/SetCounts.h"

#include <algorithm>
#include <utility>

#include "libtarnmessage/MessageText.h"

namespace {

constexpr std::size_t kLeastSize = 128;  // the first bound; each one is twice the one before

std::string named(std::uint32_t number, const std::vector<std::string>& names) {
    return names.empty() ? std::to_string(number) : tarnnames::oneOf(names, "");
}

}  // namespace

void SetCounts::onFile(const std::string& name, std::string_view /*bytes*/) {
    words_.startFile(name);
    ofFile_.clear();
    last_ = nullptr;
    recordsOfFile_ = 0;
}

void SetCounts::onPolicy(const tarnmessage::PolicyRecordView& record) {
    const Numbers numbers{record.nameId(), record.node.permClass, record.node.perm};
    if (last_ == nullptr || last_->first != numbers) {
        const auto [place, isNew] = ofFile_.try_emplace(numbers);
        if (isNew) {
            const tarnnames::RecordWords& words = words_.of(record.node);
            place->second.group = tarnnames::oneOf(words.groups, "not told");
            place->second.nameSpace = named(record.nameId(), words.nameSpaces);
            place->second.permClass = named(record.node.permClass, words.classes);
            place->second.permission = place->second.permClass + ":" + named(record.node.perm, words.permissions);
        }
        last_ = &*place;
    }
    ++last_->second.records;
    ++recordsOfFile_;
    std::size_t index = 0;
    for (std::size_t bound = kLeastSize; index + 1 < kSizes && record.bytes.size() >= bound; bound *= 2) {
        ++index;
    }
    ++sizes_[index];
}

void SetCounts::onFileEnd(const tarnmessage::FileReport& file) {
    const bool hasHeader = file.header.type != 0;
    files_.push_back({file.name, hasHeader ? tarnmessage::messageTypeText(file.header.type) : "no message", file.bytes,
                      recordsOfFile_});
    bytes_ += file.bytes;
    records_ += recordsOfFile_;
    if (file.header.type == kernelmsg::kTypePolicy) {
        const std::uint64_t byBytes = file.bytes * kTenths / kernelmsg::kMessageCapacity;
        const std::uint64_t byRecords = recordsOfFile_ * kTenths / kernelmsg::kRecordsPerMessage;
        ++fill_[std::min<std::uint64_t>(std::max(byBytes, byRecords), kTenths - 1)];
    }
    for (auto& [numbers, row] : ofFile_) {
        row.file = file.name;
        rows_.push_back(std::move(row));
    }
    ofFile_.clear();
    last_ = nullptr;
    recordsOfFile_ = 0;
}

std::vector<std::pair<std::string, std::uint64_t>> SetCounts::by(Column column) const {
    std::map<std::string, std::uint64_t> sums;
    for (const CountRow& row : rows_) {
        sums[row.*column] += row.records;
    }
    std::vector<std::pair<std::string, std::uint64_t>> sorted(sums.begin(), sums.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& left, const auto& right) { return left.second > right.second; });
    return sorted;
}

std::string SetCounts::sizeName(std::size_t index) {
    const std::size_t bound = kLeastSize << index;
    return index + 1 < kSizes ? "below " + std::to_string(bound) : std::to_string(bound / 2) + " and more";
}
