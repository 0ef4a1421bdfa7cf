// The progress line: which stage a run is in and what is done of what is expected. Only on a terminal.
#ifndef TARN_POLICY_PROGRESS_H
#define TARN_POLICY_PROGRESS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

class Progress {
public:
    // Shows nothing where standard error is not a terminal.
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool shown() const { return shown_; }

    // A new stage: "compiling: 3 of 12 message files". An expected number of 0 is not known yet.
    void stage(const std::string& name, const std::string& unit, std::uint64_t expected);
    // May be called as often as one likes: the line is written ten times a second.
    void done(std::uint64_t count);
    // Clears the line, so that other words can follow.
    void end();

private:
    void draw();

    bool shown_;
    bool drawn_ = false;
    std::string name_;
    std::string unit_;
    std::uint64_t expected_ = 0;
    std::uint64_t count_ = 0;
    std::chrono::steady_clock::time_point last_{};
};

// While the library works through one long call, asks `count` ten times a second how much is done. Starts a thread only
// where the line is shown.
class ProgressPoll {
public:
    ProgressPoll(Progress& progress, std::function<std::uint64_t()> count);
    ~ProgressPoll();
    ProgressPoll(const ProgressPoll&) = delete;
    ProgressPoll& operator=(const ProgressPoll&) = delete;

private:
    std::atomic<bool> over_{false};
    std::thread thread_;
};

#endif
