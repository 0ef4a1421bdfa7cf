// The records of one key, namespace and group in their order, seen through a window as wide as a message. Internal to
// this library.
#ifndef TARN_POLICYDOC_RECORD_WINDOW_H
#define TARN_POLICYDOC_RECORD_WINDOW_H

#include <cstdint>
#include <deque>

namespace policydoc {

// Compiler threads cut a key's rules wherever their number falls, and a message begins with the first record after a
// cut and ends after 10,000 records. So every run of 10,000 consecutive records can become one message, and all of them
// must fit.
class RecordWindow {
public:
    // Whether every run would still fit with `count` more records of `bytes` each.
    bool fits(std::uint64_t count, std::uint64_t bytes) const;

    void append(std::uint64_t count, std::uint64_t bytes);

private:
    struct Run {
        std::uint64_t count;
        std::uint64_t bytes;  // of each record
    };

    std::deque<Run> runs_;  // the last 10,000 records or fewer
    std::uint64_t count_ = 0;
    std::uint64_t bytes_ = 0;
};

// Whether a rule of that many records fits a message series that holds nothing else.
bool fitsAlone(std::uint64_t count, std::uint64_t bytes);

}  // namespace policydoc

#endif
