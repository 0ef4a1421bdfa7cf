#include "Progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kInterval{100};

void toTerminal(const std::string& text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
    static_cast<void>(std::fflush(stderr));
}

constexpr char kClearLine[] = "\r\x1b[K";

}  // namespace

Progress::Progress() : shown_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    end();
}

void Progress::stage(const std::string& name, const std::string& unit, std::uint64_t expected) {
    name_ = name;
    unit_ = unit;
    expected_ = expected;
    count_ = 0;
    if (shown_) {
        draw();
    }
}

void Progress::done(std::uint64_t count) {
    count_ = count;
    const bool last = expected_ != 0 && count >= expected_;
    if (shown_ && (last || std::chrono::steady_clock::now() - last_ >= kInterval)) {
        draw();
    }
}

void Progress::end() {
    if (drawn_) {
        toTerminal(kClearLine);
        drawn_ = false;
    }
}

void Progress::draw() {
    const std::string of = expected_ == 0 ? "" : " of " + std::to_string(expected_);
    toTerminal(kClearLine + name_ + ": " + std::to_string(count_) + of + " " + unit_);
    drawn_ = true;
    last_ = std::chrono::steady_clock::now();
}

ProgressPoll::ProgressPoll(Progress& progress, std::function<std::uint64_t()> count) {
    if (!progress.shown()) {
        return;
    }
    thread_ = std::thread([this, &progress, count = std::move(count)] {
        while (!over_) {
            progress.done(count());
            std::this_thread::sleep_for(kInterval);
        }
    });
}

ProgressPoll::~ProgressPoll() {
    over_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}
