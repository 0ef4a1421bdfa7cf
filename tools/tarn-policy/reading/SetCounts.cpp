#include "reading/SetCounts.h"

#include <algorithm>
#include <utility>

#include "libtarnmessage/MessageText.h"

namespace {

constexpr std::size_t kLeastSize = 128;  // the first bound; each one is twice the one before

std::string shortened(const std::string& text) {
    const std::size_t most = SetCounts::kMostNameBytes;
    return text.size() <= most ? text
                               : text.substr(0, most) + "... (" + std::to_string(text.size() - most) + " more bytes)";
}

// "a", "a or b", or `none`.
std::string oneOf(const std::vector<std::string>& names, const std::string& none) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " or ") + (name.empty() ? "\"\"" : tarnmessage::escaped(name));
    }
    return names.empty() ? none : text;
}

std::string named(std::uint32_t number, const std::vector<std::string>& names) {
    return names.empty() ? std::to_string(number) : shortened(oneOf(names, ""));
}

CountRow otherRow() {
    return {"", SetCounts::kOthers, SetCounts::kOthers, SetCounts::kOthers, SetCounts::kOthers, 0};
}

}  // namespace

void SetCounts::onFile(const std::string& name, std::string_view /*bytes*/) {
    words_.startFile(name);
    startFile();
}

void SetCounts::startFile() {
    ofFile_.clear();
    othersOfFile_.reset();
    lastRow_ = nullptr;
    recordsOfFile_ = 0;
}

const std::string& SetCounts::namespaceText(std::uint32_t number, const tarnnames::SharedNames& names) {
    if (namespaceTexts_.size() >= kMostRowsOfFile) {
        namespaceTexts_.clear();
    }
    const auto [place, isNew] = namespaceTexts_.try_emplace({number, names.size()});
    if (isNew) {
        place->second = named(number, names);
    }
    return place->second;
}

CountRow& SetCounts::rowOf(const tarnmessage::PolicyRecordView& record, const Numbers& numbers) {
    auto place = ofFile_.find(numbers);
    if (place == ofFile_.end()) {
        if (ofFile_.size() >= kMostRowsOfFile) {
            return othersOfFile_ ? *othersOfFile_ : othersOfFile_.emplace(otherRow());
        }
        place = ofFile_.try_emplace(numbers).first;
        const tarnnames::RecordWords& words = words_.of(record.node);
        CountRow& row = place->second;
        row.group = shortened(oneOf(words.groups, "not told"));
        row.nameSpace = namespaceText(record.nameId(), words.nameSpaces);
        row.permClass = named(record.node.permClass, words.classes);
        row.permission = row.permClass + ":" + named(record.node.perm, words.permissions);
    }
    return place->second;
}

void SetCounts::onPolicy(const tarnmessage::PolicyRecordView& record) {
    const Numbers numbers{record.nameId(), record.node.permClass, record.node.perm};
    if (lastRow_ == nullptr || lastNumbers_ != numbers) {
        lastRow_ = &rowOf(record, numbers);
        lastNumbers_ = numbers;
    }
    ++lastRow_->records;
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
    keepRows(file.name);
    startFile();
}

void SetCounts::keepRows(const std::string& file) {
    CountRow others = othersOfFile_.value_or(otherRow());
    for (auto& [numbers, row] : ofFile_) {
        addToSums(row);
        if (rows_.size() < kMostRows) {
            row.file = file;
            rows_.push_back(std::move(row));
        } else {
            others.records += row.records;
        }
    }
    if (othersOfFile_) {
        addToSums(*othersOfFile_);
    }
    if (others.records != 0) {
        others.file = file;
        rows_.push_back(std::move(others));
    }
}

void SetCounts::addToSums(const CountRow& row) {
    for (std::size_t column = 0; column < kSummed.size(); ++column) {
        Sums& sums = sums_[column];
        const std::string& name = row.*kSummed[column];
        sums[sums.size() < kMostNames || sums.count(name) != 0 ? name : kOthers] += row.records;
    }
}

SetCounts::Bars SetCounts::by(Column column) const {
    const auto* place = std::find(kSummed.begin(), kSummed.end(), column);
    const Sums& sums = sums_[static_cast<std::size_t>(place - kSummed.begin())];
    return sorted({sums.begin(), sums.end()});
}

SetCounts::Bars SetCounts::byFile() const {
    Bars bars;
    for (const FileCount& file : files_) {
        if (file.records != 0) {
            bars.emplace_back(file.file, file.records);
        }
    }
    return sorted(std::move(bars));
}

SetCounts::Bars SetCounts::sorted(Bars bars) {
    std::stable_sort(bars.begin(), bars.end(),
                     [](const auto& left, const auto& right) { return left.second > right.second; });
    return bars;
}

std::string SetCounts::sizeName(std::size_t index) {
    const std::size_t bound = kLeastSize << index;
    return index + 1 < kSizes ? "below " + std::to_string(bound) : std::to_string(bound / 2) + " and more";
}
