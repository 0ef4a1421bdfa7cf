#include "reading/DuplicateSearch.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <queue>
#include <random>
#include <tuple>

#include "Failure.h"

namespace {

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // odd, with bits all over

std::uint64_t mixed(std::uint64_t state, std::uint64_t word) {
    constexpr unsigned int kFold = 32;
    state = (state ^ word) * kMultiplier;
    return state ^ (state >> kFold);
}

Failure diskFailure(const char* tried) {
    const int error = errno;
    return Failure(ExitCode::kFailed, std::string(tried) + " a temporary file", std::strerror(error),
                   "make room in the folder for temporary files, or run this with --no-duplicates");
}

}  // namespace

// Reads one sorted piece back, a block at a time.
class DuplicateSearch::Run {
public:
    Run(int fd, std::size_t begin, std::size_t count) : fd_(fd), next_(begin), left_(count) {}

    // False at the end.
    bool next(Entry& entry) {
        if (place_ == block_.size() && !fill()) {
            return false;
        }
        entry = block_[place_++];
        return true;
    }

private:
    bool fill() {
        constexpr std::size_t kBlock = 16384;  // entries
        block_.resize(std::min(kBlock, left_));
        place_ = 0;
        std::size_t done = 0;
        const std::size_t size = block_.size() * sizeof(Entry);
        while (done < size) {
            const ssize_t count = pread(fd_, reinterpret_cast<char*>(block_.data()) + done, size - done,
                                        static_cast<off_t>(next_ * sizeof(Entry) + done));
            if (count <= 0) {
                throw diskFailure("read");
            }
            done += static_cast<std::size_t>(count);
        }
        next_ += block_.size();
        left_ -= block_.size();
        return !block_.empty();
    }

    int fd_;
    std::size_t next_;
    std::size_t left_;
    std::vector<Entry> block_;
    std::size_t place_ = 0;
};

DuplicateSearch::DuplicateSearch(std::size_t mostRecords) : mostRecords_(mostRecords) {
    std::random_device random;
    for (std::uint64_t& word : key_) {
        word = (std::uint64_t{random()} << 32U) | random();
    }
    // Growing would need twice the memory; what is not used is never touched.
    entries_.reserve(mostRecords_);
}

bool DuplicateSearch::isBefore(const Entry& left, const Entry& right) {
    return std::tie(left.checksum, left.moreChecksum, left.place.file, left.place.offset) <
           std::tie(right.checksum, right.moreChecksum, right.place.file, right.place.offset);
}

void DuplicateSearch::add(std::string_view bytes, std::uint32_t file, std::uint32_t offset) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::uint64_t first = key_[0] ^ length;
    std::uint64_t second = key_[1];
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), sizeof(std::uint64_t)))) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), std::min(bytes.size(), sizeof word));
        first = mixed(first, word);
        second = mixed(second, word ^ first);
    }
    if (entries_.size() == mostRecords_) {
        spill();
    }
    entries_.push_back({first, static_cast<std::uint32_t>(second), {file, offset, length}});
}

void DuplicateSearch::spill() {
    std::sort(entries_.begin(), entries_.end(), isBefore);
    if (!file_) {
        file_.reset(std::tmpfile());
    }
    if (!file_ || std::fwrite(entries_.data(), sizeof(Entry), entries_.size(), file_.get()) != entries_.size() ||
        std::fflush(file_.get()) != 0) {
        throw diskFailure("write");
    }
    runs_.push_back(entries_.size());
    entries_.clear();
}

// Entries come in order; those with one checksum are held against each other.
template <typename Next>
void DuplicateSearch::compare(Next next, const Same& same, const Report& report) {
    std::vector<Entry> different;  // with the checksum of the moment; more than one only where checksums meet by chance
    for (Entry entry{}; next(entry);) {
        if (!different.empty() &&
            (different.front().checksum != entry.checksum || different.front().moreChecksum != entry.moreChecksum)) {
            different.clear();
        }
        const auto found = std::find_if(different.begin(), different.end(),
                                        [&](const Entry& known) { return same(known.place, entry.place); });
        if (found == different.end()) {
            different.push_back(entry);
        } else {
            report(found->place, entry.place);
        }
    }
}

void DuplicateSearch::finish(const Same& same, const Report& report) {
    if (runs_.empty()) {
        std::sort(entries_.begin(), entries_.end(), isBefore);
        auto place = entries_.cbegin();
        compare([&](Entry& entry) { return place != entries_.cend() && (entry = *place++, true); }, same, report);
        return;
    }
    spill();
    entries_ = std::vector<Entry>();
    std::vector<Run> runs;
    std::size_t begin = 0;
    for (const std::size_t count : runs_) {
        runs.emplace_back(fileno(file_.get()), begin, count);
        begin += count;
    }
    using Head = std::pair<Entry, std::size_t>;  // and the run that it comes from
    const auto isLater = [](const Head& left, const Head& right) { return isBefore(right.first, left.first); };
    std::priority_queue<Head, std::vector<Head>, decltype(isLater)> heads(isLater);
    const auto refill = [&](std::size_t run) {
        Entry entry{};
        if (runs[run].next(entry)) {
            heads.emplace(entry, run);
        }
    };
    for (std::size_t run = 0; run < runs.size(); ++run) {
        refill(run);
    }
    compare(
        [&](Entry& entry) {
            if (heads.empty()) {
                return false;
            }
            const std::size_t run = heads.top().second;
            entry = heads.top().first;
            heads.pop();
            refill(run);
            return true;
        },
        same, report);
}
