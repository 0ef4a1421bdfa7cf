// Sorted runs of records in one temporary file that has no name: whatever ends the process ends the file. Internal to
// this folder.
#ifndef TARN_SORT_RUN_FILE_H
#define TARN_SORT_RUN_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Common/Handles.h"

namespace tarnsort {

// Where a run lies in the file.
struct Run {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

class RunFile {
public:
    explicit RunFile(std::string folder) : folder_(std::move(folder)) {}

    // Adds a record to the run that is being written. The file is made for the first one. Throws SortFailure.
    void write(std::string_view record);
    // Ends the run.
    Run endRun();

    // Reads `count` bytes; the file has them. Throws SortFailure.
    void read(std::uint64_t offset, char* bytes, std::size_t count) const;

    // What a record takes in the file.
    static std::size_t sizeOf(std::size_t recordBytes) { return recordBytes + sizeof(std::uint32_t); }

private:
    void open();
    void append(const char* bytes, std::size_t count);
    void flush();

    std::string folder_;
    UniqueFd file_;
    std::string pending_;  // of the run that is being written
    std::uint64_t written_ = 0;
    std::uint64_t runBegin_ = 0;
};

// Reads a run from its start to its end.
class RunReader {
public:
    RunReader(const RunFile& file, Run run, std::size_t bufferBytes);

    // False at the end. The record lasts until the next call.
    bool next();
    std::string_view record() const { return record_; }

private:
    // Has at least this many bytes at hand, from the file where need be.
    void provide(std::size_t count);

    const RunFile* file_;
    Run left_;  // what is not in the buffer yet
    std::size_t capacity_;
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0;  // of what is at hand
    std::size_t end_ = 0;
    std::string_view record_;
};

}  // namespace tarnsort

#endif
