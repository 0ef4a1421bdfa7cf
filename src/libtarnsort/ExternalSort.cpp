#include "libtarnsort/ExternalSort.h"

#include <algorithm>
#include <cstdlib>

namespace tarnsort {

namespace {

constexpr std::size_t kLargestShare = 8;
constexpr std::size_t kLeastBuffer = 4096;
constexpr std::size_t kMostBuffer = std::size_t{1} << 20U;
constexpr std::size_t kMostReaders = 512;

bool isGreater(const RunReader* left, const RunReader* right) {
    return right->record() < left->record();
}

}  // namespace

std::string temporaryFolder() {
    const char* const folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

ExternalSort::ExternalSort(const SortLimits& limits)
    : memoryBytes_(limits.memoryBytes), block_(std::make_unique<SortBlock>(memoryBytes_)), file_(limits.folder) {}

void ExternalSort::add(std::string_view record) {
    if (record.size() > memoryBytes_ / kLargestShare) {
        throw SortFailure("sort a record of " + std::to_string(record.size()) + " bytes",
                          "only " + std::to_string(memoryBytes_ / kLargestShare) + " can be sorted", "");
    }
    if (!block_->add(record)) {
        spill();
        static_cast<void>(block_->add(record));  // an empty block takes every record of that size
    }
    longest_ = std::max(longest_, record.size());
    ++records_;
}

void ExternalSort::spill() {
    block_->sort();
    for (std::size_t index = 0; index < block_->count(); ++index) {
        file_.write(block_->record(index));
    }
    runs_.push_back(file_.endRun());
    block_->clear();
}

void ExternalSort::finish() {
    if (runs_.empty()) {
        block_->sort();
        return;
    }
    spill();
    block_.reset();
    while (runs_.size() > mostReaders()) {
        mergeSomeRuns();
    }
    openReaders(runs_.size());
}

// Every reader holds the longest record, and all together not more than the memory.
std::size_t ExternalSort::mostReaders() const {
    const std::size_t least = std::max(kLeastBuffer, RunFile::sizeOf(longest_));
    return std::clamp(memoryBytes_ / least, std::size_t{2}, kMostReaders);
}

void ExternalSort::mergeSomeRuns() {
    const std::size_t count = mostReaders();
    openReaders(count);
    for (std::string_view record; nextMerged(record);) {
        file_.write(record);
    }
    runs_.erase(runs_.begin(), runs_.begin() + static_cast<std::ptrdiff_t>(count));
    runs_.push_back(file_.endRun());
}

void ExternalSort::openReaders(std::size_t count) {
    const std::size_t buffer =
        std::max(RunFile::sizeOf(longest_), std::clamp(memoryBytes_ / count, kLeastBuffer, kMostBuffer));
    heap_.clear();
    readers_.clear();
    readers_.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        RunReader& reader = readers_.emplace_back(file_, runs_[index], buffer);
        if (reader.next()) {
            heap_.push_back(&reader);
        }
    }
    std::make_heap(heap_.begin(), heap_.end(), isGreater);
    isFrontTaken_ = false;
}

bool ExternalSort::next(std::string_view& record) {
    if (block_ == nullptr) {
        return nextMerged(record);
    }
    if (nextInBlock_ == block_->count()) {
        return false;
    }
    record = block_->record(nextInBlock_);
    ++nextInBlock_;
    return true;
}

bool ExternalSort::nextMerged(std::string_view& record) {
    if (isFrontTaken_) {
        advanceFront();
    }
    isFrontTaken_ = !heap_.empty();
    if (!isFrontTaken_) {
        return false;
    }
    record = heap_.front()->record();
    return true;
}

void ExternalSort::advanceFront() {
    std::pop_heap(heap_.begin(), heap_.end(), isGreater);
    if (heap_.back()->next()) {
        std::push_heap(heap_.begin(), heap_.end(), isGreater);
    } else {
        heap_.pop_back();
    }
}

}  // namespace tarnsort
