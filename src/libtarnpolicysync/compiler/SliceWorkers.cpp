#include "libtarnpolicysync/compiler/SliceWorkers.h"

#include <exception>

SliceWorkers::SliceWorkers(std::size_t count) {
    for (std::size_t index = 0; index < count; ++index) {
        workers_.push_back(std::make_unique<Worker>());
    }
    for (std::size_t index = 0; index < count; ++index) {
        try {
            workers_[index]->thread = std::thread([this, index] { serve(index); });
        } catch (const std::exception&) {  // no thread or no memory for one: the slice's status says so
        }
    }
}

SliceWorkers::~SliceWorkers() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    for (const auto& worker : workers_) {
        worker->wake.notify_one();
        if (worker->thread.joinable()) {
            worker->thread.join();
        }
    }
}

void SliceWorkers::run(const std::vector<std::size_t>& indices, const Task& task) {
    if (indices.size() == 1) {
        task(indices.front());
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    running_ = indices.size();
    for (const std::size_t index : indices) {
        workers_[index]->task = &task;
        workers_[index]->wake.notify_one();
    }
    done_.wait(lock, [this] { return running_ == 0; });
}

void SliceWorkers::serve(std::size_t index) {
    Worker& self = *workers_[index];
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        self.wake.wait(lock, [this, &self] { return ending_ || self.task != nullptr; });
        if (self.task == nullptr) {
            return;
        }
        const Task& task = *self.task;
        lock.unlock();
        task(index);
        lock.lock();
        self.task = nullptr;
        if (--running_ == 0) {
            done_.notify_one();
        }
    }
}
