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
    }
    for (const auto& worker : workers_) {
        if (worker->thread.joinable()) {
            worker->thread.join();
        }
    }
}

void SliceWorkers::run(const std::vector<std::size_t>& indices, const Task& task) {
    if (indices.empty()) {
        return;
    }
    const std::size_t last = indices.size() - 1;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        running_ = last;
        for (std::size_t place = 0; place < last; ++place) {
            workers_[indices[place]]->task = &task;
        }
    }
    for (std::size_t place = 0; place < last; ++place) {
        workers_[indices[place]]->wake.notify_one();
    }
    task(indices[last]);
    std::unique_lock<std::mutex> lock(mutex_);
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
