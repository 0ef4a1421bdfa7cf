// The compiler threads of one compilation. They serve one rule group after another, which spares a thread start for
// each of many small ones; a rule group is finished before the next begins.
#ifndef TARN_COMPILER_SLICE_WORKERS_H
#define TARN_COMPILER_SLICE_WORKERS_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class SliceWorkers {
public:
    using Task = std::function<void(std::size_t)>;

    // Starts the threads; one that can't be started stays missing.
    explicit SliceWorkers(std::size_t count);
    // Ends and joins them.
    ~SliceWorkers();
    SliceWorkers(const SliceWorkers&) = delete;
    SliceWorkers& operator=(const SliceWorkers&) = delete;

    bool isMissing(std::size_t index) const { return !workers_[index]->thread.joinable(); }

    // Runs task(index) for each index, whose workers must not be missing, and waits for all of them. The last is done
    // here, since the caller would only wait: handing over a small section takes longer than the section, and where there are
    // no more processors than slices, a thread too many waits for its turn. The task must not throw.
    void run(const std::vector<std::size_t>& indices, const Task& task);

private:
    struct Worker {
        std::thread thread;
        std::condition_variable wake;
        const Task* task = nullptr;  // set while there is work; guarded by mutex_
    };

    void serve(std::size_t index);

    std::mutex mutex_;
    std::condition_variable done_;
    std::size_t running_ = 0;  // guarded by mutex_
    bool ending_ = false;      // guarded by mutex_
    std::vector<std::unique_ptr<Worker>> workers_;
};

#endif
