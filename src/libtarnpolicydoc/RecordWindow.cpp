#include "libtarnpolicydoc/RecordWindow.h"

#include <algorithm>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicysync/KernelMessage.h"

namespace policydoc {

namespace {

constexpr std::uint64_t kWidth = kernelmsg::kRecordsPerMessage;

}  // namespace

bool RecordWindow::fits(std::uint64_t count, std::uint64_t bytes) const {
    // Until the window is full it only grows. From there on each new record pushes an old one out, and while those are
    // of one size the sum moves one way, so that looking at the end of each run sees the largest sum.
    std::uint64_t left = std::min(count, kWidth);  // after that many the window holds nothing but new records
    const std::uint64_t filling = std::min(left, kWidth - count_);
    std::uint64_t sum = bytes_ + filling * bytes;
    left -= filling;
    bool fit = sum <= tarnmessage::kMessageRoom;
    for (auto run = runs_.begin(); fit && left != 0 && run != runs_.end(); ++run) {
        const std::uint64_t pushed = std::min(left, run->count);
        sum = sum + pushed * bytes - pushed * run->bytes;
        left -= pushed;
        fit = sum <= tarnmessage::kMessageRoom;
    }
    return fit;
}

void RecordWindow::append(std::uint64_t count, std::uint64_t bytes) {
    const std::uint64_t added = std::min(count, kWidth);
    if (added == 0) {
        return;
    }
    if (!runs_.empty() && runs_.back().bytes == bytes) {
        runs_.back().count += added;
    } else {
        runs_.push_back({added, bytes});
    }
    count_ += added;
    bytes_ += added * bytes;
    while (count_ > kWidth) {
        Run& oldest = runs_.front();
        const std::uint64_t dropped = std::min(oldest.count, count_ - kWidth);
        oldest.count -= dropped;
        count_ -= dropped;
        bytes_ -= dropped * oldest.bytes;
        if (oldest.count == 0) {
            runs_.pop_front();
        }
    }
}

bool fitsAlone(std::uint64_t count, std::uint64_t bytes) {
    return RecordWindow().fits(count, bytes);
}

}  // namespace policydoc
