// Sorts any number of records of any length by their bytes, as memcmp orders them and a record before its continuations,
// in memory of a fixed size. What does not fit goes to a temporary file without a name, so that nothing stays behind
// however the process ends. Equal records are all kept.
//
//     ExternalSort sort;
//     sort.add(record);  // ...
//     sort.finish();
//     for (std::string_view record; sort.next(record);) { ... }
//
// Throws SortFailure where the temporary folder has no room or can't be written. Does not log.
#ifndef TARN_SORT_EXTERNAL_SORT_H
#define TARN_SORT_EXTERNAL_SORT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libtarnsort/RunFile.h"
#include "libtarnsort/SortBlock.h"
#include "libtarnsort/SortFailure.h"

namespace tarnsort {

// TMPDIR of the environment, else /tmp.
std::string temporaryFolder();

struct SortLimits {
    std::size_t memoryBytes = std::size_t{128} << 20U;  // at most; a small set takes what it needs
    std::string folder = temporaryFolder();
};

class ExternalSort {
public:
    explicit ExternalSort(const SortLimits& limits = {});

    // Copies the record. One of more than an eighth of the memory is refused.
    void add(std::string_view record);
    // Ends the adding; once.
    void finish();
    // The records in ascending order; false behind the last. The bytes last until the next call.
    bool next(std::string_view& record);

    std::uint64_t records() const { return records_; }

private:
    void spill();
    void mergeSomeRuns();
    void openReaders(std::size_t count);
    bool nextMerged(std::string_view& record);
    void advanceFront();
    std::size_t mostReaders() const;

    std::size_t memoryBytes_;
    std::size_t longest_ = 0;
    std::uint64_t records_ = 0;
    std::unique_ptr<SortBlock> block_;
    std::size_t nextInBlock_ = 0;
    RunFile file_;
    std::vector<Run> runs_;
    std::vector<RunReader> readers_;
    std::vector<RunReader*> heap_;  // those that have a record, the least one in front
    bool isFrontTaken_ = false;
};

}  // namespace tarnsort

#endif
